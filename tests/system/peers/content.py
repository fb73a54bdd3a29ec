"""content : bodies that are the same in every run, by name."""

import functools
import random

SIZES = {"0": 0, "1": 1, "4k": 4096, "1m": 1 << 20}
LONG_SIZES = {"64m": 64 << 20}  # among the others once the long cases run


@functools.cache
def content(name):
    """As many random bytes as the name says."""
    return random.Random(name).randbytes(SIZES[name])
