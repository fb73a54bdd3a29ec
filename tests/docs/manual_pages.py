"""manual_pages : the pages of the manual as the checks read them: tables, quoted texts, links."""

import re
from dataclasses import dataclass
from pathlib import Path

_QUOTED = re.compile(r"`([^`\n]+)`")
_LINK = re.compile(r"\[[^\]\n]*\]\(([^)\s]+)\)")
_FENCE = re.compile(r"^```.*?^```$", re.DOTALL | re.MULTILINE)


@dataclass(frozen=True)
class Row:
    """One row of a table: its cells by the heading of their column."""

    page: str
    line: int
    section: str  # the heading of level 2 above it
    cells: dict

    def quoted(self, heading):
        """The text between backquotes in a cell; the cell itself when there is none."""
        match = _QUOTED.search(self.cells[heading])
        return match.group(1) if match else self.cells[heading]


class Page:
    def __init__(self, path, text):
        self.path = path
        self.lines = _FENCE.sub(lambda match: "\n" * match.group().count("\n"), text).splitlines()

    def rows(self, heading):
        """The rows of every table whose first column, or any other, bears this heading."""
        found = []
        headings = None
        section = ""
        for number, line in enumerate(self.lines, start=1):
            if line.startswith("## "):
                section = line[3:].strip()
            if not line.startswith("|"):
                headings = None
                continue
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            if headings is None:
                headings = cells
            elif heading in headings and not set(line) <= set("|-: "):
                cells += [""] * (len(headings) - len(cells))
                found.append(Row(self.path, number, section, dict(zip(headings, cells))))
        return found

    def quoted(self):
        """Every text between backquotes."""
        return [text for line in self.lines for text in _QUOTED.findall(line)]

    def links(self):
        """Pairs of line number and target of each link to a file or a heading."""
        return [
            (number, target)
            for number, line in enumerate(self.lines, start=1)
            for target in _LINK.findall(line)
            if "://" not in target
        ]

    def anchors(self):
        """The names under which the headings can be linked to."""
        titles = [line.lstrip("#").strip() for line in self.lines if line.startswith("#")]
        return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


class Manual:
    """The pages below docs/."""

    def __init__(self, root):
        self.root = Path(root)
        self.pages = {
            file.name: Page(file.relative_to(root).as_posix(), file.read_text(encoding="utf-8"))
            for file in sorted(Path(root, "docs").glob("*.md"))
        }

    def rows(self, page, heading):
        return self.pages[page].rows(heading) if page in self.pages else []

    def quoted(self, *pages):
        """The quoted texts of these pages, or of all."""
        names = pages or self.pages
        return [text for name in names if name in self.pages for text in self.pages[name].quoted()]
