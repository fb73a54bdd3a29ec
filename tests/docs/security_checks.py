"""security_checks : holds the names in SECURITY.md against the tests, the manual and the tree."""

import re
from pathlib import Path

from manual_pages import Page

SECURITY_PAGE = "SECURITY.md"
CONFIGURATION_PAGE = "configuration.md"

_TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)")
_TEST_NAME = re.compile(r"[A-Z]\w*Test\.[A-Z]\w*")
_KEY = re.compile(r"([a-z]+[A-Z]\w*|[a-z]\w*(?=: \w+$))(?:: \w+)?")


def _tests_below(folder):
    return {
        f"{suite}.{case}"
        for file in sorted(folder.rglob("*_test.cpp"))
        for suite, case in _TEST.findall(file.read_text(encoding="utf-8"))
    }


def check_security_names(_sources, manual):
    """The tests, the configuration's keys and the files that the page names are there."""
    file = manual.root / SECURITY_PAGE
    if not file.exists():
        return []
    page = Page(SECURITY_PAGE, file.read_text(encoding="utf-8"))
    tests = _tests_below(manual.root / "tests")
    keys = {row.quoted("Key") for row in manual.rows(CONFIGURATION_PAGE, "Key")}
    findings = []
    for text in page.quoted():
        key = _KEY.fullmatch(text)
        if _TEST_NAME.fullmatch(text) and text not in tests:
            findings.append(f"{SECURITY_PAGE}: there is no test {text}")
        elif key and key.group(1) not in keys:
            findings.append(f"{SECURITY_PAGE}: there is no configuration key {key.group(1)}")
    for number, target in page.links():
        if not Path(manual.root, target.partition("#")[0]).exists():
            findings.append(f"{SECURITY_PAGE}:{number}: the link to {target} leads nowhere")
    return findings
