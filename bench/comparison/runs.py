"""runs : the figures of all runs, by comparison and cell, and what could not be measured."""

from quartiles import quartiles_of, ratios_of


class MissingError(LookupError):
    """Something that was not measured, and why."""


class Runs:
    def __init__(self):
        self._figures = {}  # by comparison and cell: one map a round
        self._failures = {}  # by comparison and cell: the first reason
        self.missing = {}  # by client or server: why it takes no part
        self.system_calls = {}  # by client: what system_calls.py has counted

    @property
    def comparisons(self):
        """In the order in which they were measured."""
        return list(dict.fromkeys(comparison for comparison, _ in self._figures))

    def record(self, comparison, cell, figures):
        figures = {**figures}
        if "userMicros" in figures:
            figures["cpuMicros"] = figures["userMicros"] + figures["systemMicros"]
        self._figures.setdefault((comparison, cell), []).append(figures)

    def record_failure(self, comparison, cell, reason):
        self._failures.setdefault((comparison, cell), reason)

    @property
    def failures(self):
        """As lines: what failed, and its first reason."""
        return [
            f"{cell.client}, {comparison.title}: {reason}"
            for (comparison, cell), reason in self._failures.items()
        ]

    def rows(self):
        """Every run: comparison, cell, number of the round from 1 on, figures."""
        for (comparison, cell), rounds in self._figures.items():
            for number, figures in enumerate(rounds, 1):
                yield comparison, cell, number, figures

    def rounds_of(self, comparison, cell):
        return self._figures.get((comparison, cell), [])

    def reason(self, comparison, cell):
        """Why a cell has no figures."""
        for name in (cell.client, cell.server):
            if name in self.missing:
                return self.missing[name]
        return self._failures.get((comparison, cell), "not measured")

    def figures(self, comparison, cell, name):
        """One a round."""
        values = [figures.get(name) for figures in self.rounds_of(comparison, cell)]
        if not values:
            raise MissingError(f"{cell.client}: {self.reason(comparison, cell)}")
        if None in values:
            raise MissingError(f"{cell.client} does not tell {name}")
        return values

    def quartiles(self, comparison, cell, name):
        return quartiles_of(self.figures(comparison, cell, name))

    def ratios(self, comparison, cell, other, name):
        """Of the figures of a cell to those of another."""
        figures = self.figures(comparison, cell, name)
        others = self.figures(comparison, other, name)
        if len(figures) != len(others):
            raise MissingError(f"{cell.client} and {other.client} have not run equally often")
        return ratios_of(figures, others)
