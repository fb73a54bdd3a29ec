#!/usr/bin/python3
"""compatibility : writes the page of what has been run against which peer, from the results of a
run of all cases.

usage: compatibility.py RESULTS PAGE

The results are those that pytest writes with --results. Exit code 1 if a case among them failed.
"""

import json
import sys
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

_HEAD = """\
# Compatibility

What the built plugin has been run against, in `chainhost`: programs of Debian 12, each as a process
of its own. `./dev peers` runs all cases and writes this page; `./test` runs those that are quick.

| Peer | Version | Cases | Number | Outcome |
|---|---|---|---|---|
"""


@dataclass(frozen=True)
class Result:
    """One case that has run."""

    peer: str
    version: str
    subject: str
    case: str
    passed: bool


def page(results):
    """The text of the page: one row for each subject at each peer, in the order of the run."""
    rows = {}
    for result in results:
        rows.setdefault((result.peer, result.version, result.subject), []).append(result)
    return _HEAD + "".join(_row(key, cases) for key, cases in rows.items())


def _row(key, cases):
    failed = Counter(case.case for case in cases if not case.passed)
    outcome = f"failed: {', '.join(failed)}" if failed else "passed"
    cells = (*key, str(len(cases)), outcome)
    return f"| {' | '.join(cell.replace('|', '/') for cell in cells)} |\n"


def read_results(file):
    return [Result(**fields) for fields in json.loads(Path(file).read_text(encoding="utf-8"))]


def main(arguments):
    if len(arguments) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    results = read_results(arguments[0])
    Path(arguments[1]).write_text(page(results), encoding="utf-8")
    return 0 if results and all(result.passed for result in results) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
