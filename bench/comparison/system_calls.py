"""system_calls : how many system calls a request takes in steady state, by strace.

Two runs that differ in their number of requests alone: what beginning and end take is the same in
both.
"""

import re
import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path

import program

_WARM_UP = 200
_ROW = re.compile(r"^ *[\d.]+ +[\d.]+ +\d+ +(\d+) +(?:\d+ +)?(\w+)$", re.MULTILINE)


@dataclass(frozen=True)
class SystemCalls:
    per_request: float
    by_name: tuple  # (name, calls a request), the most frequent first


def missing():
    return None if shutil.which("strace") else "strace is not installed"


def counts_in(summary):
    """The calls of a summary of strace, by name."""
    counts = {name: int(calls) for calls, name in _ROW.findall(summary)}
    counts.pop("total", None)
    if not counts:
        raise program.ProgramError("strace: no summary: " + summary)
    return counts


def steady_state(few, many, requests):
    """What so many more requests have taken: of two maps from name to calls."""
    more = {name: many.get(name, 0) - few.get(name, 0) for name in {*few, *many}}
    names = sorted(more, key=lambda name: (-more[name], name))
    by_name = tuple((name, more[name] / requests) for name in names if more[name] > 0)
    return SystemCalls(sum(more.values()) / requests, by_name)


def count(client, server, work, numbers, processor):
    """Of a kind of compare_client; `numbers`: of requests, few and many."""
    few, many = (
        _counts(client.command(server, work, number, _WARM_UP), processor) for number in numbers
    )
    return steady_state(few, many, numbers[1] - numbers[0])


def _counts(command, processor):
    with tempfile.TemporaryDirectory(prefix="compare-strace-") as folder:
        summary = Path(folder) / "summary"
        program.run(["strace", "-f", "-c", "-o", summary, "--", *command], processor)
        return counts_in(summary.read_text(encoding="ascii"))
