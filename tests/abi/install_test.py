#!/usr/bin/python3
"""install_test : what "cmake --install" leaves runs from its prefix, wherever that is moved to.

usage: install_test.py CMAKE BUILD-FOLDER C-COMPILER
"""

import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CMAKE = BUILD = C_COMPILER = None
HANG_GUARD_SECONDS = 100


def run(*command, standard_input=""):
    return subprocess.run(
        [str(word) for word in command],
        capture_output=True,
        text=True,
        timeout=HANG_GUARD_SECONDS,
        input=standard_input,
    )


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        first = Path(folder.name, "first")
        result = run(CMAKE, "--install", BUILD, "--prefix", first)
        if result.returncode != 0:
            raise AssertionError(result.stdout + result.stderr)
        cls.prefix = first.rename(Path(folder.name, "moved"))
        cls.chainhost = cls.prefix / "bin/chainhost"

    def test_programs_libraries_and_headers_stand_below_the_prefix(self):
        installed = {
            path.relative_to(self.prefix).as_posix()
            for path in self.prefix.rglob("*")
            if path.is_file() and "include/orvex" not in path.as_posix()
        }

        self.assertEqual(
            installed,
            {
                "bin/chainhost",
                "lib/libHTTPClient.so",
                "lib/libkelhost.so",
                "lib/libovclient.so",
                "lib/libovcommon.so",
                "include/kel/host_control.h",
                "include/kel/host_services.h",
                "include/kel/host_values.h",
                "include/kel/kel.h",
                "include/kel/plugin.h",
                "include/kel/types.h",
            },
        )

    def test_program_tells_its_version(self):
        result = run(self.chainhost, "--version")

        self.assertEqual((result.returncode, result.stdout), (0, "chainhost 10.15.0.2\n"))

    def test_libraries_are_found_below_the_prefix(self):
        for file, needed in (
            ("bin/chainhost", {"libkelhost.so", "libovcommon.so"}),
            ("lib/libHTTPClient.so", {"libovclient.so", "libovcommon.so"}),
            ("lib/libkelhost.so", {"libovcommon.so"}),
        ):
            output = run("ldd", self.prefix / file).stdout
            found = re.findall(r"lib(?:ov|kel)\w+\.so => (\S+)", output)
            with self.subTest(file=file):
                libraries = {Path(path).resolve() for path in found}
                folder = self.prefix.resolve() / "lib"
                self.assertLessEqual({folder / name for name in needed}, libraries)
                self.assertEqual({path.parent for path in libraries}, {folder})

    def test_headers_compile_as_c(self):
        source = "".join(
            f'#include "kel/{path.name}"\n' for path in (self.prefix / "include/kel").glob("*.h")
        )

        result = run(
            *[C_COMPILER, "-std=c11", "-Wall", "-Wextra", "-Werror", "-fsyntax-only"],
            *["-x", "c", "-I", self.prefix / "include", "-"],
            standard_input=source,
        )

        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_program_finds_its_plugin_and_performs_a_request(self):
        server = subprocess.Popen(
            [self.chainhost, "echo-server"],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        port = int(server.stdout.readline().rpartition(":")[2])
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        config = Path(folder.name, "host.json")
        config.write_text(json.dumps({"config": {"host": "127.0.0.1", "port": port}}))
        metadata = {"requestId": "7", "http": {"method": "POST", "path": "/a"}}
        line = json.dumps({"payload": "hello", "metadata": metadata}) + "\n"

        result = run(self.chainhost, "run", "--config", config, standard_input=line)

        self.assertEqual(result.returncode, 0, result.stderr)
        response = json.loads(result.stdout)
        self.assertEqual(response["metadata"]["requestId"], "7")
        self.assertEqual(json.loads(response["payload"])["body"], "hello")


if __name__ == "__main__":
    CMAKE, BUILD, C_COMPILER = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1])
