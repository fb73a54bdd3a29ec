#!/usr/bin/python3
"""manual : checks that the manual below docs/ and the sources below src/ say the same.

usage: manual.py [ROOT]

Prints one line for each difference and exits with 1 if there is one.
"""

import sys
from pathlib import Path

import checks
from cpp_texts import sources_below
from manual_pages import Manual


def findings_in(root):
    sources = sources_below(root, "src")
    manual = Manual(root)
    return sorted(finding for check in checks.ALL for finding in check(sources, manual))


def main(arguments):
    root = Path(arguments[0]) if arguments else Path(__file__).resolve().parents[2]
    findings = findings_in(root)
    for finding in findings:
        print(finding)
    print("differences between manual and sources:", len(findings))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
