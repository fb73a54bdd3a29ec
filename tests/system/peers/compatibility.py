#!/usr/bin/python3
"""compatibility : the page of what has been run against which peer.

usage: compatibility.py write RESULTS PAGE
       compatibility.py check PAGE

"write" makes the page of what pytest has written with --results, a run of all cases. "check" holds
the page against the cases that there are: each has to be counted, and to have passed. Exit code 1
if a case has failed, or if the page is not what it has to be.
"""

import inspect
import json
import sys
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

_PASSED = "passed"
_HEAD = """\
# Compatibility

What the built plugin has been run against, in `chainhost`: programs of Debian 12, each as a process
of its own. `./dev peers` runs the cases and writes this page.

| Peer | Version | Cases | Number | Outcome |
|---|---|---|---|---|
"""


@dataclass(frozen=True)
class Result:
    """One case that has run."""

    peer: str
    subject: str
    version: str
    case: str
    passed: bool


def row_of(item):
    """Peer and subject of one of pytest's cases; nothing when it does not test a peer.

    A test file's PEERS are those that its requests pass, the nearest first; the subject is what is
    written at the class.
    """
    peers = getattr(item.module, "PEERS", ())
    return (" before ".join(peer.NAME for peer in peers), inspect.getdoc(item.cls)) if peers else ()


def page(results):
    """The text of the page: one row for each subject at each peer, in the order of the run."""
    rows = {}
    for result in results:
        rows.setdefault((result.peer, result.version, result.subject), []).append(result)
    return _HEAD + "".join(_row(key, cases) for key, cases in rows.items())


def _row(key, cases):
    failed = Counter(case.case for case in cases if not case.passed)
    outcome = f"failed: {', '.join(failed)}" if failed else _PASSED
    cells = (*key, str(len({case.case for case in cases})), outcome)
    return f"| {' | '.join(cell.replace('|', '/') for cell in cells)} |\n"


def differences(text, rows):
    """What the page lacks, or has and should not, when these are the rows of all cases."""
    lines = [line.strip("| ").split(" | ") for line in text.splitlines() if line.startswith("| ")]
    written = {(cells[0], cells[2], cells[3], cells[4]) for cells in lines[1:]}
    counted = Counter(row for row in rows if row)
    wanted = {(*row, str(number), _PASSED) for row, number in counted.items()}
    return [
        *(f"the page lacks: {' | '.join(row)}" for row in sorted(wanted - written)),
        *(f"the page has: {' | '.join(row)}" for row in sorted(written - wanted)),
    ]


class _Collected:
    """A plugin of pytest's that keeps what cases there are."""

    def __init__(self):
        self.rows = []

    def pytest_collection_finish(self, session):
        self.rows = [row_of(item) for item in session.items]


def _check(file):
    import pytest

    collected = _Collected()
    folder = str(Path(__file__).parent)
    options = ["-qqq", "--collect-only", "--long", "--chainhost=none"]
    if pytest.main([folder, *options], plugins=[collected]) != 0:
        return ["the cases cannot be collected"]
    return differences(Path(file).read_text(encoding="utf-8"), collected.rows)


def _write(results_file, file):
    fields = json.loads(Path(results_file).read_text(encoding="utf-8"))
    results = [Result(**one) for one in fields]
    Path(file).write_text(page(results), encoding="utf-8")
    return [f"failed: {result.case}" for result in results if not result.passed]


def main(arguments):
    if len(arguments) == 3 and arguments[0] == "write":
        findings = _write(*arguments[1:])
    elif len(arguments) == 2 and arguments[0] == "check":
        findings = _check(arguments[1])
    else:
        print(__doc__, file=sys.stderr)
        return 2
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
