"""table : the lines of the files in figures: a row a file, a sum a room, a sum in all."""

from dataclasses import dataclass
from pathlib import PurePosixPath

_UNCOVERED_COLUMNS = 60


@dataclass(frozen=True)
class Row:
    name: str
    lines: int
    covered: int
    uncovered: str = ""  # the lines that have not run, such as "3, 7-9"

    def percent(self):
        return 100.0 * self.covered / self.lines if self.lines else 100.0


def row_of(path, counts):
    uncovered = [line for line, count in counts.items() if count == 0]
    return Row(path, len(counts), len(counts) - len(uncovered), _ranges(counts, set(uncovered)))


def sum_of(name, rows):
    return Row(name, sum(row.lines for row in rows), sum(row.covered for row in rows))


def room_of(path):
    """The folder below src/, host/ or include/ that the file is in."""
    return "/".join(PurePosixPath(path).parts[:2])


def rendered(rows):
    """The whole table as lines; the last one is the sum of all."""
    rooms = {}
    for row in sorted(rows, key=lambda row: (room_of(row.name), row.name)):
        rooms.setdefault(room_of(row.name), []).append(row)
    width = max(len(row.name) for row in rows)
    lines = [f"{'file':{width}}  lines  covered  percent  not covered"]
    lines += [_line(row, width) for group in rooms.values() for row in group]
    lines += ["", f"{'room':{width}}  lines  covered  percent"]
    lines += [_line(sum_of(room, group), width) for room, group in rooms.items()]
    lines.append(_line(sum_of("in all", rows), width))
    return lines


# Cut off rather than rounded: what is below a limit never looks as if it met it.
def _line(row, width):
    percent = int(row.percent() * 100) / 100
    shown = row.uncovered
    if len(shown) > _UNCOVERED_COLUMNS:
        shown = shown[:_UNCOVERED_COLUMNS].rpartition(",")[0] + ", ..."
    return f"{row.name:{width}}  {row.lines:5}  {row.covered:7}  {percent:7.2f}  {shown}".rstrip()


# Lines without code between two that have not run do not part them.
def _ranges(counts, uncovered):
    groups = []
    is_open = False
    for line in sorted(counts):
        if line not in uncovered:
            is_open = False
        elif is_open:
            groups[-1][1] = line
        else:
            groups.append([line, line])
            is_open = True
    return ", ".join(f"{a}" if a == b else f"{a}-{b}" for a, b in groups)
