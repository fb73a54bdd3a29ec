#!/usr/bin/python3
"""symbols_test : what the built libraries export and what they leave to others.

usage: symbols_test.py LIBRARY-FOLDER SOURCE-FOLDER
"""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

LIBRARIES = SOURCES = None
LOADER = "/lib64/ld-linux-x86-64.so.2"
OUR_LIBRARIES = ["libHTTPClient.so", "libkelhost.so", "libovcommon.so", "libovclient.so"]


def names_of(list_file):
    return (SOURCES / "tests/abi" / list_file).read_text().split()


def symbols(library, selection):
    """Names of the dynamic symbols, without their versions."""
    command = ["nm", "-D", selection, "--format=posix", str(LIBRARIES / library)]
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    return sorted(line.split()[0].split("@")[0] for line in output.splitlines())


def declared(*headers):
    """Names of the functions that public headers declare."""
    text = "".join((SOURCES / "include/kel" / header).read_text() for header in headers)
    return sorted(re.findall(r"^KEL_EXPORT [^(]*?(\w+)\(", text, re.MULTILINE))


def unresolved(library, preloaded):
    """Symbols that the loader cannot find, all functions bound at once."""
    environment = dict(
        os.environ,
        LD_TRACE_LOADED_OBJECTS="1",
        LD_WARN="yes",
        LD_BIND_NOW="yes",
        LD_PRELOAD=" ".join(str(LIBRARIES / name) for name in preloaded),
    )
    result = subprocess.run(
        [LOADER, str(LIBRARIES / library)], env=environment, capture_output=True, text=True
    )
    output = result.stdout + result.stderr
    if "not found" in output:
        raise AssertionError(output)
    return sorted(set(re.findall(r"undefined symbol: (\w+)", output)))


class PluginSymbolsTest(unittest.TestCase):
    def test_exports_are_the_nine_entry_points_and_nothing_else(self):
        exported = symbols("libHTTPClient.so", "--defined-only")

        self.assertEqual(exported, names_of("plugin_exports.txt"))

    def test_entry_points_are_those_that_the_header_declares(self):
        self.assertEqual(declared("plugin.h"), names_of("plugin_exports.txt"))

    def test_host_functions_are_those_that_the_headers_declare(self):
        self.assertEqual(
            declared("host_values.h", "host_services.h"), names_of("host_functions.txt")
        )

    def test_undefined_host_functions_are_documented_ones(self):
        undefined = symbols("libHTTPClient.so", "--undefined-only")
        used = [name for name in undefined if name.startswith("kel_")]

        self.assertNotEqual(used, [])
        self.assertLessEqual(set(used), set(names_of("host_functions.txt")))

    def test_host_functions_are_all_that_is_missing_without_a_host(self):
        missing = unresolved("libHTTPClient.so", [])

        self.assertNotEqual(missing, [])
        self.assertLessEqual(set(missing), set(names_of("host_functions.txt")))

    def test_nothing_is_missing_with_a_host(self):
        self.assertEqual(unresolved("libHTTPClient.so", ["libkelhost.so"]), [])


class HostSymbolsTest(unittest.TestCase):
    def test_host_library_exports_its_functions_and_nothing_else(self):
        self.assertEqual(
            symbols("libkelhost.so", "--defined-only"),
            declared("host_values.h", "host_services.h", "host_control.h"),
        )

    def test_host_library_misses_nothing(self):
        self.assertEqual(unresolved("libkelhost.so", []), [])

    def test_runtime_libraries_miss_nothing(self):
        for library in ("libovcommon.so", "libovclient.so"):
            with self.subTest(library=library):
                self.assertEqual(unresolved(library, []), [])


class LoadingTest(unittest.TestCase):
    def test_libraries_find_each_other_beside_themselves(self):
        for library in OUR_LIBRARIES:
            command = ["readelf", "-d", str(LIBRARIES / library)]
            output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
            needed = re.findall(r"\(NEEDED\).*\[(.*)\]", output)
            with self.subTest(library=library):
                self.assertNotIn("libkelhost.so", needed)
                if any(name.startswith("libov") for name in needed):
                    self.assertRegex(output, r"\((RUNPATH|RPATH)\).*\[\$ORIGIN\]")

    def test_plugin_links_the_runtime_as_shared_libraries(self):
        command = ["readelf", "-d", str(LIBRARIES / "libHTTPClient.so")]
        output = subprocess.run(command, check=True, capture_output=True, text=True).stdout

        self.assertIn("[libovcommon.so]", output)
        self.assertIn("[libovclient.so]", output)


if __name__ == "__main__":
    LIBRARIES, SOURCES = map(Path, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
