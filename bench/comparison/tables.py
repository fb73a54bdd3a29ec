"""tables : the figures of the runs as tables, by group."""

import comparisons
import goals
from clients import LIFECYCLE, PLUGIN
from runs import MissingError
from table import ABSENT, Table, number_text

_NAMES = {
    "plugin": "the plugin",
    "socket": "sockets",
    "poco": "bare POCO",
    "curl": "libcurl",
    "wrk": "wrk (the server's ceiling)",
    "go": "Go net/http",
    "nothing": "nothing: threads that wake up when requests are due",
}
_PERCENTILES = ("p50Micros", "p90Micros", "p99Micros", "p999Micros")
_HEADER = (
    "client",
    "requests/s",
    "quartiles",
    "plugin over it",
    "CPU µs",
    "user",
    "system",
    "switches",
    "of them forced",
    "p50 µs",
    "p90 µs",
    "p99 µs",
    "p99.9 µs",
)


def name_of(client):
    return _NAMES.get(client, client)


def tables_of(group, runs, scale):
    """The tables of a group, of what has been measured of it."""
    special = {
        "goals": _goal_tables,
        "keys": _key_tables,
        "flush": _flush_tables,
        "latency": _latency_tables,
        "memory": _memory_tables,
        "lifecycle": _lifecycle_tables,
    }
    if group in special:
        return special[group](runs, scale)
    return [client_table(each, runs) for each in comparisons.comparisons_of(group, scale)]


def client_table(comparison, runs):
    """One row a client; what is missing says why."""
    rows = [_client_row(comparison, cell, runs) for cell in comparison.cells]
    return Table(comparison.title, _HEADER, tuple(rows))


def _client_row(comparison, cell, runs):
    if not runs.rounds_of(comparison, cell):
        reason = runs.reason(comparison, cell)
        return (f"{name_of(cell.client)}: {reason}", *[ABSENT] * (len(_HEADER) - 1))
    rate = runs.quartiles(comparison, cell, "rate")
    return (
        name_of(cell.client),
        number_text(rate.median, 0),
        f"{rate.low:,.0f} to {rate.high:,.0f}",
        _plugin_over(comparison, cell, runs),
        *(_median(runs, comparison, cell, name, 1) for name in _CPU),
        *(_median(runs, comparison, cell, name, 2) for name in _SWITCHES),
        *(_median(runs, comparison, cell, name, 0) for name in _PERCENTILES),
    )


_CPU = ("cpuMicros", "userMicros", "systemMicros")
_SWITCHES = ("voluntarySwitches", "involuntarySwitches")


def _median(runs, comparison, cell, name, digits):
    try:
        return number_text(runs.quartiles(comparison, cell, name).median, digits)
    except MissingError:
        return ABSENT


def _plugin_over(comparison, cell, runs):
    try:
        ratio = runs.ratios(comparison, comparison.cell(PLUGIN), cell, "rate")
    except (MissingError, LookupError):
        return ABSENT
    return number_text(ratio.median, 2)


def _goal_tables(runs, scale):
    rows = [
        (
            str(outcome.goal.number),
            outcome.goal.what,
            outcome.goal.limit_text(),
            number_text(outcome.figure, 2),
            _verdict(outcome),
        )
        for outcome in goals.outcomes_of(runs, scale)
    ]
    table = Table("Goals", ("#", "work", "goal", "figure", "reached"), tuple(rows))
    return [table, _system_call_table(runs), _idle_table(runs, scale)]


def _verdict(outcome):
    if outcome.is_reached is None:
        return f"not measured: {outcome.reason}"
    return "yes" if outcome.is_reached else "no"


def _system_call_table(runs):
    rows = [
        (
            name_of(client),
            number_text(calls.per_request, 2),
            calls.counted_by,
            ", ".join(f"{name} {number:.2f}" for name, number in calls.by_name if number >= 0.005),
        )
        for client, calls in runs.system_calls.items()
    ]
    rows = rows or [(runs.missing.get("system calls", "not counted"), *[ABSENT] * 3)]
    header = ("client", "a request", "counted by", "names by strace")
    return Table("System calls, 1 KiB POST, 8 connections, plain", header, tuple(rows))


def _idle_table(runs, scale):
    comparison = comparisons.one_at_a_time(scale)
    rows = [
        (
            str(cell.work.connections),
            *(_median(runs, comparison, cell, name, 1) for name in _CPU),
            *(_median(runs, comparison, cell, name, 2) for name in _SWITCHES),
            *(_median(runs, comparison, cell, name, 0) for name in _PERCENTILES),
        )
        for cell in comparison.cells
    ]
    header = ("workers", *_HEADER[_HEADER.index("CPU µs") :])
    return Table("One request at a time, 1 KiB POST", header, tuple(rows))


# What order allows: each connection, and each key, has one request under way.
def _ideal_rate(work):
    if work.delay_ms == 0:
        return None
    return min(work.connections, work.keys or work.connections) * 1000 / work.delay_ms


def _key_tables(runs, scale):
    header = ("delay ms", "keys", "requests/s", "over no keys", "of what order allows", "CPU µs")
    rows = []
    for delay_ms in scale.delays_ms:
        comparison = comparisons.keyed(scale, delay_ms)
        for cell in comparison.cells:
            work = cell.work
            rate, ideal = _rate(runs, comparison, cell), _ideal_rate(work)
            rows.append(
                (
                    str(delay_ms),
                    str(work.keys or "none"),
                    number_text(rate, 0),
                    _ratio(runs, comparison, cell, comparison.cells[0]),
                    f"{rate / ideal:.0%}" if rate and ideal else ABSENT,
                    _median(runs, comparison, cell, "cpuMicros", 1),
                )
            )
    return [Table("Keys, 16 clients, 1 KiB POST", header, tuple(rows))]


def _flush_tables(runs, scale):
    header = ("delay ms", "a flush every", "requests/s", "over no flush", "CPU µs")
    rows = []
    for delay_ms in scale.delays_ms:
        comparison = comparisons.flushed(scale, delay_ms)
        for cell in comparison.cells:
            rows.append(
                (
                    str(delay_ms),
                    str(cell.work.flush_every or "never"),
                    number_text(_rate(runs, comparison, cell), 0),
                    _ratio(runs, comparison, cell, comparison.cells[0]),
                    _median(runs, comparison, cell, "cpuMicros", 1),
                )
            )
    return [Table("Flush, 16 clients, 1 KiB POST", header, tuple(rows))]


def _latency_tables(runs, scale):
    titles = {comparisons.paced(0, share).title for share in scale.loads}
    percentiles = ("p50 µs", "p90 µs", "p99 µs", "p99.9 µs")
    header = ("load", "requests/s", "client", *percentiles, "p99 added", "processor busy")
    rows = []
    for comparison in runs.comparisons:
        if comparison.title not in titles:
            continue
        for cell in comparison.cells:
            is_plugin = cell.client == PLUGIN
            rows.append(
                (
                    comparison.title,
                    number_text(cell.work.rate, 0),
                    name_of(cell.client),
                    *(_median(runs, comparison, cell, name, 0) for name in _PERCENTILES),
                    _added(runs, comparison.title) if is_plugin else ABSENT,
                    _busy(runs, comparison, cell),
                )
            )
    return [Table("Latency at a steady rate, 8 connections, 1 KiB POST", header, tuple(rows))]


# The client's share of its processor.
def _busy(runs, comparison, cell):
    try:
        micros = runs.quartiles(comparison, cell, "cpuMicros").median
    except MissingError:
        return ABSENT
    return f"{micros * cell.work.rate / 1e6:.0%}"


def _added(runs, title):
    try:
        return number_text(goals.added_p99_micros(runs, title), 0)
    except MissingError:
        return ABSENT


def _memory_tables(runs, scale):
    rows = []
    for tls in (False, True):
        comparison = comparisons.idle(scale, tls)
        one, many = (
            _median(runs, comparison, comparison.cell(LIFECYCLE, connections=count), name, 0)
            for count, name in ((1, "residentKib"), (scale.many, "residentKib"))
        )
        rows.append(("TLS" if tls else "plain", one, many, _worker(runs, scale, tls)))
    header = ("wire", "1 client, KiB", f"{scale.many} clients, KiB", "a further worker, KiB")
    return [Table("Resident memory while nothing is under way", header, tuple(rows))]


def _worker(runs, scale, tls):
    try:
        return number_text(goals.worker_kib(runs, scale, tls), 1)
    except MissingError:
        return ABSENT


def _lifecycle_tables(runs, scale):
    rows = []
    for tls in (False, True):
        comparison = comparisons.idle(scale, tls)
        for cell in comparison.cells:
            figures = [
                _median(runs, comparison, cell, name, 1) for name in ("createMillis", "endMillis")
            ]
            rows.append(("TLS" if tls else "plain", str(cell.work.connections), *figures))
    header = ("wire", "clients", "to create, ms", "to shut down, ms")
    return [Table("Coming and going, each worker with a connection", header, tuple(rows))]


def _rate(runs, comparison, cell):
    try:
        return runs.quartiles(comparison, cell, "rate").median
    except MissingError:
        return None


def _ratio(runs, comparison, cell, base):
    try:
        return number_text(runs.ratios(comparison, cell, base, "rate").median, 2)
    except MissingError:
        return ABSENT


