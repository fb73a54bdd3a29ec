"""order_log : what a server's log tells about the order of requests, and about those at once.

Each request has a line in the log for its beginning and one for its end; order_server.py says what
the order of the lines proves. Its path tells key, number and whether it is a barrier, so that the
log is judged by itself: numbers count the requests of a run in the order of their delivery.
"""

from bisect import bisect_right
from collections import Counter
from dataclasses import dataclass

from messages import request

_NO_KEY = "-"
_BARRIER = "?barrier"


def order_message(number, key=None, barrier=False, folder="quick"):
    """A request that tells its place, with the metadata that ask for it."""
    path = f"/{folder}/{key or _NO_KEY}/{number}{_BARRIER if barrier else ''}"
    metadata = {"concurrencyControlKey": key} if key else {}
    if barrier:
        metadata["concurrencyControlFlush"] = "true"
    return request(path, **metadata)


@dataclass(frozen=True)
class Event:
    """A line of the log."""

    begins: bool  # else the request ends
    number: int
    key: str  # or nothing
    barrier: bool
    connection: int
    pipelined: bool = False  # told at the end: had come before the former request was answered
    status: int = 200  # told at the end


def parse_event(line, beginning):
    """An event from a line with the columns: own path of the line, which is `beginning` when the
    request begins; the request's target, connection, whether it was pipelined, status."""
    own, target, connection, pipelined, status = line.split("\t")
    path, mark, _ = target.partition("?")
    key, number = path.split("/")[-2:]
    return Event(
        begins=own == beginning,
        number=int(number),
        key=None if key == _NO_KEY else key,
        barrier=bool(mark),
        connection=int(connection),
        pipelined=pipelined == "p",
        status=int(status),
    )


def lost_or_repeated(events, count):
    """What keeps the log from telling that each of so many requests came once, and went well."""
    began = Counter(event.number for event in events if event.begins)
    ended = Counter(event.number for event in events if not event.begins)
    findings = [
        f"{number} began {began[number]} times and ended {ended[number]} times"
        for number in sorted({*range(count), *began, *ended})
        if (began[number], ended[number]) != (1, 1) or number >= count
    ]
    for event in events:
        if not event.begins and event.status != 200:
            findings.append(f"{event.number} ended with status {event.status}")
        if event.pipelined:
            findings.append(f"{event.number} had come before the former request was answered")
    return findings


def key_violations(events):
    """Where a request begins before a former one of its key is over, or after a later one."""
    findings, under_way, last = [], {}, {}
    for event in events:
        if event.key is None:
            continue
        if not event.begins:
            under_way.pop(event.key, None)
            continue
        if event.key in under_way:
            findings.append(f"{event.number} beside {under_way[event.key]}, both of {event.key}")
        if event.number < last.get(event.key, -1):
            findings.append(f"{event.number} after {last[event.key]}, both of {event.key}")
        under_way[event.key] = last[event.key] = event.number
    return findings


def barrier_violations(events):
    """Where a barrier, or what was delivered after it, begins before all former ones are over."""
    numbers = {event.number: event.barrier for event in events}
    barriers = sorted(number for number, barrier in numbers.items() if barrier)
    # How many requests between the n-th barrier and the next are not over, the barrier included.
    left = Counter(bisect_right(barriers, number) for number in numbers)
    findings, oldest = [], 0
    for event in events:
        passed = bisect_right(barriers, event.number)
        if not event.begins:
            left[passed] -= 1
        while oldest < len(barriers) and left[oldest] == 0:
            oldest += 1
        if event.begins and passed > oldest:
            findings.append(f"{event.number} passed the barrier {barriers[passed - 1]}")
    return findings


def beginnings(events):
    """The numbers of the requests in the order in which they began."""
    return [event.number for event in events if event.begins]


def most_at_once(events):
    """How many requests were under way at once, at most."""
    most = now = 0
    for event in events:
        now += 1 if event.begins else -1
        most = max(most, now)
    return most


def connections(events):
    """How many connections have carried requests."""
    return len({event.connection for event in events})
