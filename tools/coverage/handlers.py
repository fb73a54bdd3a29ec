"""handlers : the exception handlers of C++ sources, and which of them have run.

What the compiler counts (GCC, without optimisation) decides how a handler is proven to have run:

  - The line of "catch (...)" proves nothing: the choice among the handlers of a try block is
    counted there, whichever of them is chosen, and so is the end of the handler before it.
  - A line between the braces counts for the handler alone.
  - If none of these lines has code (an empty handler, or one that holds a comment), the line of the
    closing brace counts the handler's end, unless the next "catch" stands on that line as well.
"""

import bisect
import re
import sys
from dataclasses import dataclass
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tidy"))

from tree import without_comments_and_strings  # noqa: E402

_CATCH = re.compile(r"\bcatch\s*(?=\()")
_OPENING = {"(": ")", "{": "}"}


@dataclass(frozen=True, order=True)
class Handler:
    """One handler: the lines of "catch", of its two braces, and whether the closing one begins the
    line's code with nothing of another handler behind it."""

    path: str
    line: int
    opening: int
    closing: int
    ends_alone: bool

    def __str__(self):
        return f"{self.path}:{self.line}"

    def can_be_seen(self, counts):
        """Whether the counts of its file (by line) tell if it has run."""
        return bool(self._own_lines(counts))

    def is_reached(self, counts):
        return any(counts[line] > 0 for line in self._own_lines(counts))

    def _own_lines(self, counts):
        inside = [n for n in range(self.opening + 1, self.closing) if n in counts]
        if inside or self.closing == self.opening or not self.ends_alone:
            return inside
        return [self.closing] if self.closing in counts else []


def handlers_in(path, source):
    """The handlers of a source in the order of their "catch"."""
    code = without_comments_and_strings(source)
    line_ends = [match.start() for match in re.finditer("\n", code)]

    def line_of(position):
        return bisect.bisect_left(line_ends, position) + 1

    handlers = []
    for match in _CATCH.finditer(code):
        declared = _closing(code, match.end())
        opening = declared + 1 + _blanks(code, declared + 1)
        if code[opening : opening + 1] != "{":
            continue
        closing = _closing(code, opening)
        line_begin = code.rfind("\n", 0, closing) + 1
        rest = code[closing + 1 :].split("\n", 1)[0]
        alone = not code[line_begin:closing].strip() and not _CATCH.search(rest)
        handlers.append(
            Handler(path, line_of(match.start()), line_of(opening), line_of(closing), alone)
        )
    return handlers


def _blanks(code, at):
    return len(code[at:]) - len(code[at:].lstrip())


def _closing(code, at):
    """The position of the bracket that closes the one at `at`."""
    opening, closing = code[at], _OPENING[code[at]]
    depth = 0
    for position in range(at, len(code)):
        depth += (code[position] == opening) - (code[position] == closing)
        if depth == 0:
            return position
    raise ValueError(f"a bracket that nothing closes: {code[at : at + 40]!r}")
