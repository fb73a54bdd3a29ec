"""waiting : waits for what has to happen, looking often; the guard only ends what hangs."""

import time

GUARD_SECS = 120
_INTERVAL_SECS = 0.01


def until(what, happened):
    """Returns the first true value of happened(); AssertionError when none comes."""
    guard = time.monotonic() + GUARD_SECS
    while True:
        value = happened()
        if value:
            return value
        if time.monotonic() > guard:
            raise AssertionError(f"waited {GUARD_SECS} s in vain: {what}")
        time.sleep(_INTERVAL_SECS)
