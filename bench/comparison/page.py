"""page : docs/performance.md: the parts between markers are written anew, the rest is kept."""

import re


class PageError(Exception):
    """A page without the markers of a part, or with them in disorder."""


def with_part(text, name, lines):
    """The text of a page with other lines between the markers of a part."""
    begin, end = f"<!-- begin {name} -->", f"<!-- end {name} -->"
    pattern = re.compile(f"^{re.escape(begin)}$.*?^{re.escape(end)}$", re.MULTILINE | re.DOTALL)
    if len(pattern.findall(text)) != 1 or text.count(begin) != 1:
        raise PageError(f"no part {name} in the page, or more than one")
    part = "\n".join([begin, "", *lines, "", end])
    return pattern.sub(lambda _: part, text)
