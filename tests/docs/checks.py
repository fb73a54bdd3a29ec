"""checks : holds the manual against the sources, in both directions.

Each check takes the sources and the manual and returns its findings as lines.
"""

import re
from pathlib import Path

from cpp_texts import HOLE, log_calls
from security_checks import check_security_names

INDEX_PAGE = "README.md"
LOG_PAGE = "log-lines.md"
FAILURE_PAGES = ("failures.md", "configuration.md")
MESSAGE_PAGE = "messages.md"
KEY_HEADINGS = ("Key", "Key in `http`")
KEY_SECTIONS = {
    "src/http/request_mapping.cpp": "The request",
    "src/http/response_mapping.cpp": "The response",
}
UNSEEN_FILE = "tests/docs/unseen_texts.txt"

# They pass their callers' formats on; what stands in them is no line of its own.
_LOGGER_FILES = ("src/plugin/logger.h", "src/plugin/logger.cpp")
_WHOLE = "%s"  # the format of a line that is composed before it is logged


def _levels(row):
    return frozenset(level.strip() for level in row.cells["Level"].split(","))


def _calls(sources):
    return [call for call in log_calls(sources) if call.path not in _LOGGER_FILES]


def _texts(sources):
    """What somebody may read: composed texts of more than one word."""
    return [
        text
        for source in sources
        for text in source.texts
        if re.search(r"[A-Za-z]", text.literal()) and " " in text.value.strip()
    ]


class _Said:
    """Tells whether a documented text is one that the sources can put together: one expression may
    yield it, and all of it, what stands in angle brackets apart, is made of their literals."""

    def __init__(self, sources):
        self._texts = _texts(sources)
        literals = {part for s in sources for text in s.texts for part in text.value.split(HOLE)}
        pieces = [re.escape(part) for part in literals if part and not re.fullmatch(r"\w", part)]
        self._made = re.compile(f"(?:<[^<>]+>|{'|'.join(sorted(pieces, key=len, reverse=True))})+")

    def expressions(self, text):
        """The expressions that may yield the text."""
        made = self._made.fullmatch(text)
        return [expression for expression in self._texts if made and expression.matches(text)]


def _whole_lines(call, texts):
    """The texts that a call with the format "%s" writes, as far as its argument's name tells: those
    of a constant, or the latest one that a variable of that name was given in the same file."""
    name = call.arguments[0] if call.arguments else ""
    named = [text for text in texts if text.name == name]
    if re.match(r"k[A-Z]", name):
        return named
    return [text for text in named if text.path == call.path and text.line <= call.line][-1:]


def check_log_lines_are_documented(sources, manual):
    texts = _texts(sources)
    rows = [(row.quoted("Line"), _levels(row)) for row in manual.rows(LOG_PAGE, "Line")]
    findings = []

    def look_for(call, shown, fits):
        levels = frozenset().union(*(levels for line, levels in rows if fits(line)))
        missing = ", ".join(sorted(call.levels - levels))
        if missing:
            findings.append(f'{call.path}:{call.line}: {LOG_PAGE} lacks, at {missing}: "{shown}"')

    for call in _calls(sources):
        if call.format is None:
            findings.append(f"{call.path}:{call.line}: logs a format that is no literal")
        elif not call.levels:
            findings.append(f"{call.path}:{call.line}: logs at a level that nothing tells")
        elif call.format == _WHOLE:
            for text in _whole_lines(call, texts):
                look_for(call, text.shown(), text.matches)
        else:
            look_for(call, call.format, call.format.__eq__)
    return findings


def check_documented_log_lines_exist(sources, manual):
    calls, texts, said = _calls(sources), _texts(sources), _Said(sources)
    findings = []
    for row in manual.rows(LOG_PAGE, "Line"):
        line = row.quoted("Line")
        composed = said.expressions(line)
        for level in sorted(_levels(row)):
            called = [call for call in calls if level in call.levels]
            if not any(_writes(call, line, composed, texts) for call in called):
                findings.append(f'{row.page}:{row.line}: nothing logs, at {level}: "{line}"')
    return findings


# A line that is composed where the call stands, or, when the argument's name does not tell what it
# is, anywhere in the same folder.
def _writes(call, line, composed, texts):
    if call.format != _WHOLE:
        return call.format == line
    own = _whole_lines(call, texts)
    if own:
        return any(text in composed for text in own)
    return any(Path(text.path).parent == Path(call.path).parent for text in composed)


def read_unseen(root):
    """The texts that nobody reads, with "<>" for what is put in; reasons begin with "#"."""
    file = Path(root, UNSEEN_FILE)
    lines = file.read_text(encoding="utf-8").splitlines() if file.exists() else []
    return [line for line in lines if line and not line.startswith("#")]


def check_texts_are_documented(sources, manual):
    """What is thrown stands among the failures; any other text anywhere in the manual."""
    unseen = set(read_unseen(manual.root))
    formats = {call.format for call in _calls(sources)}
    findings = []
    for text in _texts(sources):
        if text.value in formats or text.shown() in unseen:
            continue
        quoted = manual.quoted(*(FAILURE_PAGES if text.is_thrown else ()))
        if not any(text.is_in(candidate) for candidate in quoted):
            where = f"{' and '.join(FAILURE_PAGES)} lack" if text.is_thrown else "the manual lacks"
            findings.append(f'{text.path}:{text.line}: {where}: "{text.shown()}"')
    return findings


def check_unseen_texts_exist(sources, manual):
    known = {text.shown() for text in _texts(sources)}
    return [
        f'{UNSEEN_FILE}: nothing says any more: "{line}"'
        for line in read_unseen(manual.root)
        if line not in known
    ]


def check_documented_failures_exist(sources, manual):
    said = _Said(sources)
    return [
        f'{row.page}:{row.line}: nothing says: "{row.quoted("Text")}"'
        for page in FAILURE_PAGES
        for row in manual.rows(page, "Text")
        if not said.expressions(row.quoted("Text"))
    ]


def _key_rows(manual):
    """Pairs of key and row of each table of message keys."""
    return [
        (row.quoted(heading), row)
        for heading in KEY_HEADINGS
        for row in manual.rows(MESSAGE_PAGE, heading)
    ]


def check_message_keys_are_documented(sources, manual):
    """Each key has a row, and those of a mapping have it in their own section."""
    rows = _key_rows(manual)
    keys = [text for source in sources for text in source.texts if text.is_map_key]
    findings = [
        f'{text.path}:{text.line}: {MESSAGE_PAGE} has no row for the key "{text.value}"'
        for text in keys
        if text.value not in {key for key, _ in rows}
    ]
    for source in sources:
        if source.path not in KEY_SECTIONS:
            continue
        section = KEY_SECTIONS[source.path]
        documented = {key for key, row in rows if row.section == section}
        used = source.members_used("keys_")
        findings += [
            f'{source.path}:0: "{section}" in {MESSAGE_PAGE} has no row for the key "{text.value}"'
            for text in keys
            if text.name in used and text.value not in documented
        ]
    return findings


def check_documented_message_keys_exist(sources, manual):
    literals = {text.value for source in sources for text in source.texts}
    return [
        f'{row.page}:{row.line}: nothing reads or writes the key "{key}"'
        for key, row in _key_rows(manual)
        if key not in literals
    ]


def check_links(_sources, manual):
    """Links lead to files that are there, and to headings of pages that have them."""
    findings = []
    for page in manual.pages.values():
        for number, target in page.links():
            file, _, anchor = target.partition("#")
            aim = manual.pages.get(file) if file else page
            if file and not (manual.root / "docs" / file).exists():
                findings.append(f"{page.path}:{number}: the link to {target} leads nowhere")
            elif anchor and aim and anchor not in aim.anchors():
                findings.append(f"{page.path}:{number}: {target} names no heading")
    return findings


def check_index(_sources, manual):
    """The index leads to every page."""
    index = manual.pages.get(INDEX_PAGE)
    linked = {target.partition("#")[0] for _, target in index.links()} if index else set()
    return [
        f"docs/{INDEX_PAGE}:0: no link to {name}"
        for name in manual.pages
        if name != INDEX_PAGE and name not in linked
    ]


ALL = [
    check_log_lines_are_documented,
    check_documented_log_lines_exist,
    check_texts_are_documented,
    check_unseen_texts_exist,
    check_documented_failures_exist,
    check_message_keys_are_documented,
    check_documented_message_keys_exist,
    check_links,
    check_index,
    check_security_names,
]
