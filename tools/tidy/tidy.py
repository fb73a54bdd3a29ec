#!/usr/bin/python3
"""tidy : checks the rules of this repository that a compiler does not know.

usage: tidy.py [ROOT]

Prints one line for each breach, "path:line: what", and exits with 1 if there is one. The rules
are in rooms.py (the arrows between the rooms) and rules.py (all others).
"""

import sys
from pathlib import Path

import rooms
import rules
from tree import Tree

CHECKS = [rooms.check_rooms, *rules.ALL]


def findings_in(root):
    tree = Tree(root)
    return sorted(finding for check in CHECKS for finding in check(tree))


def main(arguments):
    root = Path(arguments[0]) if arguments else Path(__file__).resolve().parents[2]
    findings = findings_in(root)
    for finding in findings:
        print(finding)
    print("breaches of the rules:", len(findings))
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
