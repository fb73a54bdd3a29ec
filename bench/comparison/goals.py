"""goals : what the transport has to reach, and what it has reached."""

from dataclasses import dataclass

import comparisons
from clients import CURL, LIFECYCLE, PLUGIN, POCO, SOCKET
from comparisons import CHAINHOST
from runs import MissingError
from work import KIB, MIB

SYSTEM_CALLS = 12  # the number of the goal that needs perf or strace

_HALF = 0.5
_KEYS = 100


@dataclass(frozen=True)
class Goal:
    number: int
    what: str
    limit: float
    is_least: bool  # the limit is the least that will do; else the most
    unit: str
    figure_of: object  # a function from Runs and Scale

    def limit_text(self):
        sign = "≥" if self.is_least else "≤"
        return f"{sign} {self.limit:g}{' ' + self.unit if self.unit else ''}"


@dataclass(frozen=True)
class Outcome:
    goal: Goal
    figure: float | None
    reason: str  # why there is no figure

    @property
    def is_reached(self):
        if self.figure is None:
            return None
        goal = self.goal
        return self.figure >= goal.limit if goal.is_least else self.figure <= goal.limit


def outcomes_of(runs, scale):
    return [_outcome(goal, runs, scale) for goal in GOALS]


def _outcome(goal, runs, scale):
    try:
        return Outcome(goal, goal.figure_of(runs, scale), "")
    except MissingError as missing:
        return Outcome(goal, None, str(missing))


# The plugin's figure over that of another client in the same comparison.
def _over(comparison_of, other, name="rate", client=PLUGIN):
    def figure(runs, scale):
        comparison = comparison_of(scale)
        cells = comparison.cell(client), comparison.cell(other)
        return runs.ratios(comparison, *cells, name).median

    return figure


def _post(connections=8, tls=False):
    return lambda scale: comparisons.small_post(scale, connections, tls)


def _beside_idle_workers(runs, scale):
    comparison = comparisons.one_at_a_time(scale)
    many = comparison.cell(PLUGIN, connections=scale.many)
    return runs.ratios(comparison, many, comparison.cell(PLUGIN, connections=1), "cpuMicros").median


def worker_kib(runs, scale, tls):
    """The resident memory of one more idle worker."""
    comparison = comparisons.idle(scale, tls)
    many, one = (
        runs.quartiles(
            comparison, comparison.cell(LIFECYCLE, connections=count), "residentKib"
        ).median
        for count in (scale.many, 1)
    )
    return (many - one) / (scale.many - 1)


def _keyed(runs, scale):
    comparison = comparisons.keyed(scale, 1)
    keyed, free = (comparison.cell(PLUGIN, keys=keys) for keys in (_KEYS, 0))
    return runs.ratios(comparison, keyed, free, "rate").median


def added_p99_micros(runs, title):
    """What the transport adds to the socket loop's p99 at the same steady rate."""
    for comparison in runs.comparisons:
        if comparison.title == title:
            plugin, loop = (
                runs.figures(comparison, comparison.cell(client), "p99Micros")
                for client in (PLUGIN, SOCKET)
            )
            return _median_difference(plugin, loop)
    raise MissingError("the peak rate is not known")


def _median_difference(figures, others):
    differences = sorted(a - b for a, b in zip(figures, others))
    middle = len(differences) // 2
    return (differences[middle] + differences[-1 - middle]) / 2


def _added_at_half_load(runs, _scale):
    return added_p99_micros(runs, comparisons.paced(0, _HALF).title)


def _system_calls(runs, _scale):
    counted = runs.system_calls.get(PLUGIN)
    if counted is None:
        raise MissingError(runs.missing.get("system calls", "not counted"))
    return counted.per_request


def _large_post(_scale):
    return comparisons.upload(100 * KIB)


def _large_get(size):
    return lambda _scale: comparisons.download(size)


GOALS = (
    Goal(1, "1 KiB POST, 1 client: rate over bare POCO", 1.05, True, "", _over(_post(1), POCO)),
    Goal(1, "1 KiB POST, 8 clients: rate over bare POCO", 1.15, True, "", _over(_post(), POCO)),
    Goal(2, "1 KiB POST, 8 clients: rate over libcurl", 1.7, True, "", _over(_post(), CURL)),
    Goal(2, "1 KiB POST, 8 clients: rate over sockets", 0.85, True, "", _over(_post(), SOCKET)),
    Goal(
        3,
        "1 KiB POST, 8 clients: CPU per request over sockets",
        1.35,
        False,
        "",
        _over(_post(), SOCKET, "cpuMicros"),
    ),
    Goal(4, "100 KiB POST: rate over bare POCO", 4, True, "", _over(_large_post, POCO)),
    Goal(4, "100 KiB POST: rate over sockets", 0.7, True, "", _over(_large_post, SOCKET)),
    *(
        Goal(
            5,
            f"{text} GET: rate over {name}",
            1.6,
            True,
            "",
            _over(_large_get(size), other),
        )
        for size, text in ((100 * KIB, "100 KiB"), (MIB, "1 MiB"))
        for other, name in ((POCO, "bare POCO"), (CURL, "libcurl"))
    ),
    Goal(
        6,
        "1 KiB POST over TLS, 8 clients: rate over bare POCO",
        1.1,
        True,
        "",
        _over(_post(tls=True), POCO),
    ),
    Goal(
        6,
        "1 KiB POST over TLS, 8 clients: rate over libcurl",
        1.6,
        True,
        "",
        _over(_post(tls=True), CURL),
    ),
    Goal(
        7,
        "one request at a time: CPU with 128 workers over that with 1",
        1.3,
        False,
        "",
        _beside_idle_workers,
    ),
    *(
        Goal(
            8,
            f"idle worker, {text}: resident memory",
            limit,
            False,
            "KiB",
            lambda runs, scale, tls=tls: worker_kib(runs, scale, tls),
        )
        for tls, text, limit in ((False, "plain", 40), (True, "TLS", 110))
    ),
    Goal(9, "100 keys, 16 clients, delay 1 ms: rate over no keys", 0.9, True, "", _keyed),
    Goal(
        10,
        "half of the peak rate: p99 over that of sockets",
        60,
        False,
        "µs",
        _added_at_half_load,
    ),
    Goal(
        11,
        "chainhost, file to file: rate over the plugin's own",
        0.8,
        True,
        "",
        _over(_post(), PLUGIN, client=CHAINHOST),
    ),
    Goal(SYSTEM_CALLS, "system calls per small request", 3, False, "", _system_calls),
)
