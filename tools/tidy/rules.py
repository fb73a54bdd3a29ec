"""rules : what every file has to keep to. Each check takes the tree and returns its findings."""

import re
from pathlib import Path

from tree import CPP_SUFFIXES, Finding

FILE_LINES_MAX = 800
LINE_COLUMNS_MAX = 100
CODE_SUFFIXES = CPP_SUFFIXES | {".py", ".sh", ".cmake", ""}
OWN_FOLDER = "tools/tidy/"  # these files have to spell what they look for

_MARKER = re.compile(r"\b(TODO|FIXME|XXX)\b")
_CLOCK = re.compile(
    r"\b(?:system_clock|steady_clock|high_resolution_clock|utc_clock|tai_clock|gps_clock|file_clock"
    r"|clock_gettime|gettimeofday|timespec_get|clock_nanosleep"
    r"|Poco::(?:Timestamp|Clock|Stopwatch|LocalDateTime))\b"
    r"|\b(?:std::)?time\s*\(\s*(?:nullptr|NULL|0|&)"
    r"|\bclock\s*\(\s*\)"
)
_TIMED_WAIT = re.compile(
    r"\b(?:wait_for|wait_until|try_lock_for|try_lock_until|pthread_cond_timedwait)\b"
)
_SLEEP = re.compile(r"\b(?:sleep_for|sleep_until|usleep|nanosleep|clock_nanosleep|sleep)\s*\(")
_TEST_MACRO = r"(?:TYPED_)?TEST(?:_F|_P)?\s*\("
_COMMENTED_TEST = re.compile(
    r"(?://|/\*|^\s*\*)\s*(?:" + _TEST_MACRO + r"|INSTANTIATE_TEST_SUITE_P)"
)
_SWITCHED_OFF = re.compile(r"\bDISABLED_|\bGTEST_SKIP\b|^\s*#\s*if\s+0\b")
_SWITCHED_OFF_IN_CMAKE = re.compile(
    r"\bDISABLED\b|\bSKIP_RETURN_CODE\b|\bSKIP_REGULAR_EXPRESSION\b"
)
_COMMENTED_OUT_IN_CMAKE = re.compile(
    r"#\s*(?:\w+\.(?:cpp|c)\s*$|test_program\s*\(\s*[a-z]|add_test\s*\()"
)
_SKIPPED_IN_PYTHON = re.compile(
    r"\bunittest\.(?:skip\w*|expectedFailure)|\.skipTest\("
    r"|\bpytest\.(?:mark\.)?(?:skip\w*|xfail|importorskip)\b"
)


def check_file_lengths(tree):
    return [
        Finding(path, 0, f"{len(tree.lines(path))} lines; at most {FILE_LINES_MAX}")
        for path in tree.paths()
        if Path(path).suffix in CODE_SUFFIXES and len(tree.lines(path)) > FILE_LINES_MAX
    ]


def check_line_lengths(tree):
    return [
        Finding(path, number, f"{len(line)} columns; at most {LINE_COLUMNS_MAX}")
        for path in tree.paths()
        if Path(path).suffix in CODE_SUFFIXES
        for number, line in tree.lines(path)
        if len(line) > LINE_COLUMNS_MAX
    ]


def check_markers(tree):
    return [
        Finding(path, number, f"leftover marker {_MARKER.search(line).group()}")
        for path in tree.paths()
        if not path.startswith(OWN_FOLDER)
        for number, line in tree.lines(path)
        if _MARKER.search(line)
    ]


def check_clocks(tree):
    """Only src/runtime reads clocks and waits by them; elsewhere a test could not steer time. Tests
    may use a clock to measure, and a timed wait to guard against a hang."""
    findings = []
    for path in tree.cpp_paths("src", "host", "tests", "examples"):
        if path.startswith("src/runtime/"):
            continue
        rules = [(_SLEEP, "sleeps")]
        if not path.startswith("tests/"):
            rules += [(_CLOCK, "reads a clock"), (_TIMED_WAIT, "waits by a clock")]
        for number, line in tree.code_lines(path):
            for pattern, what in rules:
                match = pattern.search(line)
                if match:
                    found = match.group().rstrip(" (")
                    findings.append(Finding(path, number, f"{found} {what}: use src/runtime"))
    return findings


def check_tests_run(tree):
    """No test is commented out, switched off, or skipped."""
    findings = []
    for path in tree.paths():
        suffix = Path(path).suffix
        if path.startswith(OWN_FOLDER):
            continue
        for number, line in tree.lines(path):
            if suffix in CPP_SUFFIXES and _COMMENTED_TEST.search(line):
                findings.append(Finding(path, number, "a test is commented out"))
            if suffix in CPP_SUFFIXES and _SWITCHED_OFF.search(line):
                findings.append(Finding(path, number, "code or a test is switched off"))
            if suffix == ".py" and _SKIPPED_IN_PYTHON.search(line):
                findings.append(Finding(path, number, "a test is skipped"))
            if path.endswith("CMakeLists.txt"):
                if _COMMENTED_OUT_IN_CMAKE.search(line):
                    findings.append(Finding(path, number, "a source or a test is commented out"))
                if _SWITCHED_OFF_IN_CMAKE.search(line.split("#")[0]):
                    findings.append(Finding(path, number, "a test is switched off"))
    return findings


def check_header_comments(tree):
    """The first line of a header names it by folder and file, and says what it is."""
    findings = []
    for path in tree.cpp_paths():
        if not path.endswith(".h"):
            continue
        name = "/".join(path.split("/")[-2:])
        first = (tree.lines(path) or [(1, "")])[0][1]
        if not re.match(r"(?://|/\*) " + re.escape(name) + r" : \S", first):
            findings.append(Finding(path, 1, f"does not begin with the comment \"{name} : ...\""))
    return findings


def check_sources_listed(tree):
    """A source that no CMakeLists.txt names is compiled by nobody, and its tests never run."""
    findings = []
    for path in tree.cpp_paths("src", "host", "tests"):
        if path.endswith(".h"):
            continue
        folders = path.split("/")[:-1]
        above = ["/".join(folders[:depth]) for depth in range(len(folders), 0, -1)]
        lists = [folder + "/CMakeLists.txt" for folder in above]
        words = f"{re.escape(Path(path).name)}|{re.escape(Path(path).stem)}"
        named = re.compile(rf"(?<![\w.])(?:{words})(?![\w.])")
        if not any(named.search(tree.text(name)) for name in lists if tree.has(name)):
            findings.append(Finding(path, 0, "named in no CMakeLists.txt above it"))
    return findings


ALL = [
    check_file_lengths,
    check_line_lengths,
    check_markers,
    check_clocks,
    check_tests_run,
    check_header_comments,
    check_sources_listed,
]
