"""table : rows of texts, for the screen and for a page."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Table:
    title: str
    header: tuple
    rows: tuple  # of as many texts as the header has

    def text(self):
        """Lines for the screen, in columns: the first to the left, numbers to the right."""
        lines = [self.header, *self.rows]
        widths = [max(len(line[i]) for line in lines) for i in range(len(self.header))]
        numeric = [self._is_numeric(i) for i in range(len(self.header))]
        return [self.title] + [
            "  ".join(
                cell.rjust(width) if right else cell.ljust(width)
                for cell, width, right in zip(line, widths, numeric)
            ).rstrip()
            for line in lines
        ]

    def markdown(self):
        """Lines for a page."""
        rule = ["---:" if self._is_numeric(i) else "---" for i in range(len(self.header))]
        lines = [self.header, rule, *self.rows]
        shown = ["|" + "|".join(f" {cell} " for cell in line) + "|" for line in lines]
        shown[1] = "|" + "|".join(rule) + "|"
        return [f"**{self.title}**", "", *shown]

    def _is_numeric(self, column):
        cells = [row[column] for row in self.rows if row[column] != ABSENT]
        return bool(cells) and all(cell[0].isdigit() or cell[0] in "-+" for cell in cells)


ABSENT = "–"


def number_text(value, digits):
    """With so many digits behind the point, and the thousands apart."""
    return ABSENT if value is None else f"{value:,.{digits}f}"
