#!/usr/bin/python3
"""elf_test : how the loader treats what is shipped: what stays writable, what may be executed, and
where it looks for libraries.

usage: elf_test.py TEST... BUILD-FOLDER

ElfTest is for every build, OverrunTest for one that is optimised and without sanitizers.
"""

import re
import subprocess
import sys
import unittest
from pathlib import Path

BUILD = None
PLUGIN = "lib/libHTTPClient.so"
OTHERS = [
    "lib/libkelhost.so",
    "lib/libovcommon.so",
    "lib/libovclient.so",
    "bin/chainhost",
]
SHIPPED = [PLUGIN, *OTHERS]


def readelf(file, selection):
    command = ["readelf", "--wide", selection, str(BUILD / file)]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def segments(file):
    """{type: flags such as "RW"} of the program headers."""
    row = re.compile(r"^ +([A-Z_]+)(?: +0x[0-9a-f]+){5} ([R ][W ][E ]) ", re.MULTILINE)
    found = row.findall(readelf(file, "--segments"))
    return {kind: flags.strip() for kind, flags in found if kind != "LOAD"}


def entries(file):
    """Pairs of name and value of the dynamic section."""
    return re.findall(r"^ 0x[0-9a-f]+ \((\w+)\) +(.+)$", readelf(file, "--dynamic"), re.MULTILINE)


def values(file, name):
    return [value for entry, value in entries(file) if entry == name]


def symbols(file):
    return readelf(file, "--dyn-syms")


def flags(file):
    return " ".join(values(file, "FLAGS_1"))


class ElfTest(unittest.TestCase):
    def check(self, files, look):
        for file in files:
            with self.subTest(file=file):
                look(file)

    def test_no_stack_may_be_executed(self):
        self.check(SHIPPED, lambda file: self.assertEqual(segments(file)["GNU_STACK"], "RW"))

    def test_relocated_data_are_read_only(self):
        self.check(SHIPPED, lambda file: self.assertEqual(segments(file)["GNU_RELRO"], "R"))

    def test_no_code_is_relocated(self):
        self.check(SHIPPED, lambda file: self.assertEqual(values(file, "TEXTREL"), []))

    def test_no_memory_is_both_written_and_executed(self):
        self.check(SHIPPED, lambda file: self.assertNotIn("RWE", readelf(file, "--segments")))

    def test_all_functions_are_bound_at_once(self):
        self.check(OTHERS, lambda file: self.assertRegex(flags(file), r"\bNOW\b"))

    def test_the_plugin_is_bound_as_its_host_wishes(self):
        """It can be loaded by one that lacks a function which is not called."""
        self.assertNotRegex(flags(PLUGIN), r"\bNOW\b")

    def test_the_program_has_no_fixed_address(self):
        self.assertRegex(flags("bin/chainhost"), r"\bPIE\b")

    def test_libraries_are_looked_for_beside_what_needs_them(self):
        def look(file):
            beside = "$ORIGIN/../lib" if file.startswith("bin/") else "$ORIGIN"

            self.assertEqual(values(file, "RPATH"), [])
            self.assertEqual(values(file, "RUNPATH"), [f"Library runpath: [{beside}]"])

        self.check(SHIPPED, look)


class OverrunTest(unittest.TestCase):
    """What overruns a buffer ends the process."""

    def test_of_the_stack(self):
        """The client library has no function with a buffer on its stack."""
        for file in SHIPPED:
            if file != "lib/libovclient.so":
                with self.subTest(file=file):
                    self.assertIn("__stack_chk_fail", symbols(file))

    def test_of_a_buffer_that_a_library_writes(self):
        self.assertRegex(symbols(PLUGIN), r"\b__\w+_chk@")


if __name__ == "__main__":
    BUILD = Path(sys.argv.pop())
    unittest.main()
