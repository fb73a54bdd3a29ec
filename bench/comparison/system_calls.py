"""system_calls : how many system calls a request takes in steady state.

Two runs that differ in their number of requests alone: what beginning and end take is the same in
both. perf counts at full speed; strace tells the names, but slows a client down so much that it may
wait more or less often. Each is enough where the other is missing or forbidden.
"""

import re
import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path

import program
from work import Work

_WARM_UP = 200
_PERF = ("perf", "stat", "-x", ",", "-e", "raw_syscalls:sys_enter")
_STRACE = ("strace", "-f", "-c")
_TIMES_FASTER = 4  # so many more requests perf takes in the same time
_ROW = re.compile(r"^ *[\d.]+ +[\d.]+ +\d+ +(\d+) +(?:\d+ +)?(\w+)$", re.MULTILINE)


@dataclass(frozen=True)
class SystemCalls:
    per_request: float
    counted_by: str
    by_name: tuple  # (name, calls a request), the most frequent first; empty: not known


def total_in(summary):
    """The calls of a summary of perf."""
    found = re.search(r"^(\d+),.*raw_syscalls:sys_enter", summary, re.MULTILINE)
    if found is None:
        raise program.ProgramError("no summary: " + summary.strip())
    return int(found[1])


def counts_in(summary):
    """The calls of a summary of strace, by name."""
    counts = {name: int(calls) for calls, name in _ROW.findall(summary)}
    counts.pop("total", None)
    if not counts:
        raise program.ProgramError("no summary: " + summary.strip())
    return counts


def steady_state(few, many, requests):
    """What so many more requests have taken: of two maps from name to calls."""
    more = {name: many.get(name, 0) - few.get(name, 0) for name in {*few, *many}}
    names = sorted(more, key=lambda name: (-more[name], name))
    by_name = tuple((name, more[name] / requests) for name in names if more[name] > 0)
    return SystemCalls(sum(more.values()) / requests, "strace", by_name)


def count(client, server, numbers, processor):
    """Of a kind of compare_client; `numbers`: of requests, few and many. ProgramError, with the
    reasons, when neither perf nor strace can count."""

    def counted(tool, read, more):
        few, many = numbers[0], numbers[0] + more
        return [
            read(_summary(tool, client.command(server, Work(), number, _WARM_UP), processor))
            for number in (few, many)
        ]

    reasons, by_name, calls = [], (), None
    more = numbers[1] - numbers[0]
    try:
        calls = steady_state(*counted(_STRACE, counts_in, more), more)
        by_name = calls.by_name
    except program.ProgramError as failure:
        reasons.append(_reason(_STRACE, failure))
    more *= _TIMES_FASTER
    try:
        few, many = counted(_PERF, total_in, more)
        calls = SystemCalls((many - few) / more, "perf", by_name)
    except program.ProgramError as failure:
        reasons.append(_reason(_PERF, failure))
    if calls is None:
        raise program.ProgramError("; ".join(reasons))
    return calls


def _reason(tool, failure):
    name = tool[0]
    return f"{name}: {failure.last_line}" if shutil.which(name) else f"{name} is not installed"


def _summary(tool, command, processor):
    with tempfile.TemporaryDirectory(prefix="compare-calls-") as folder:
        file = Path(folder) / "summary"
        program.run([*tool, "-o", file, "--", *command], processor)
        return file.read_text(encoding="utf-8")
