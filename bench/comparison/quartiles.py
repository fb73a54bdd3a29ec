"""quartiles : the middle of several figures, and how far they spread."""

import statistics
from dataclasses import dataclass


@dataclass(frozen=True)
class Quartiles:
    low: float
    median: float
    high: float


def quartiles_of(figures):
    """Between neighbours where a quartile falls between two figures."""
    figures = sorted(figures)
    if not figures:
        raise ValueError("no figures")
    if len(figures) == 1:
        return Quartiles(figures[0], figures[0], figures[0])
    low, median, high = statistics.quantiles(figures, n=4, method="inclusive")
    return Quartiles(low, median, high)


def ratios_of(figures, others):
    """Of each figure to the one of the same round, so that what slows a whole round down does not
    count."""
    if len(figures) != len(others):
        raise ValueError("not the same rounds")
    return quartiles_of([a / b for a, b in zip(figures, others)])
