#!/usr/bin/python3
"""coverage : which lines and which exception handlers of ours the tests have run.

usage: coverage.py BUILD-FOLDER [ROOT]

BUILD-FOLDER is compiled with counters (the preset "coverage") and the tests have run in it. Prints
the table of all lines and the handlers that have not run. Exits with 1 when less than 95 % of the
lines or not all handlers have run.
"""

import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tidy"))

from handlers import handlers_in
from line_counts import CountsError, read_counts
from table import rendered, row_of, sum_of
from tree import without_comments_and_strings

FOLDERS = ("src", "host", "include")
PERCENT_MIN = 95.0

_BRACKETS_ALONE = re.compile(r"[\s{}()\[\];,]*")


def sources_of(root):
    """{path: text} of our sources."""
    return {
        file.relative_to(root).as_posix(): file.read_text(encoding="utf-8")
        for folder in FOLDERS
        for file in sorted(Path(root, folder).rglob("*"))
        if file.suffix in (".cpp", ".h", ".c")
    }


def code_counts(source, counts):
    """The counts without those of lines that hold brackets alone: these count the ends of objects,
    of many only when an exception passes."""
    code = without_comments_and_strings(source).splitlines()
    return {
        line: count
        for line, count in counts.items()
        if line <= len(code) and not _BRACKETS_ALONE.fullmatch(code[line - 1])
    }


def report(sources, counts):
    """The report's lines, and whether all that is asked for has run."""
    unbuilt = [path for path in sources if path.endswith((".cpp", ".c")) and path not in counts]
    rows = [
        row_of(path, code_counts(text, counts[path]))
        for path, text in sources.items()
        if counts.get(path)
    ]
    if not rows:
        return ["no line of ours has code"], False
    lines = rendered(rows)
    lines += [f"not in the build: {path}" for path in unbuilt]
    total = sum_of("in all", rows)

    handlers = [each for path, text in sources.items() for each in handlers_in(path, text)]
    unreached = [each for each in handlers if not each.is_reached(counts.get(each.path, {}))]
    lines += ["", f"catch blocks: {len(handlers)}, reached: {len(handlers) - len(unreached)}"]
    for each in unreached:
        seen = each.can_be_seen(counts.get(each.path, {}))
        lines.append(f"not reached: {each}" + ("" if seen else " (no line of its own has code)"))
    return lines, total.percent() >= PERCENT_MIN and not unreached and not unbuilt


def main(arguments):
    if len(arguments) not in (1, 2):
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    build = Path(arguments[0]).resolve()
    root = Path(arguments[1]).resolve() if arguments[1:] else Path(__file__).resolve().parents[2]
    try:
        lines, is_enough = report(sources_of(root), read_counts(build, root))
    except CountsError as failure:
        print(failure, file=sys.stderr)
        return 1
    print("\n".join(lines))
    return 0 if is_enough else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
