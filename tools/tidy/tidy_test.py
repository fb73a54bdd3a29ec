#!/usr/bin/python3
"""tidy_test : shows each rule failing on a breach, and passing on what is in order."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import rooms
import rules
import tidy
from tree import Tree, without_comments_and_strings

ARCHITECTURE = """# Architecture

```rooms
kel:
runtime:
model: kel runtime
http: kel model runtime
transport: http model
host/chainhost: kel runtime
```
"""


class TidyTest(unittest.TestCase):
    """Writes small trees and tells what a check finds in them."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)

    def write(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def found(self, check):
        return [str(finding) for finding in check(Tree(self.root))]

    def assert_passes(self, check, path, text):
        self.write(path, text)
        self.assertEqual(self.found(check), [])

    def assert_finds(self, check, path, text, *expected):
        self.write(path, text)
        self.assertEqual(self.found(check), [f"{path}:{item}" for item in expected])


class ArrowsTest(TidyTest):
    def setUp(self):
        super().setUp()
        self.write("ARCHITECTURE.md", ARCHITECTURE)

    def test_includes_along_the_arrows_pass(self):
        self.assert_passes(
            rooms.check_rooms,
            "src/http/a.cpp",
            '#include "http/a.h"\n#include <vector>\n#include "model/data.h"\n'
            '#include "kel/types.h"\n'
            "#include <Poco/Net/HTTPRequest.h>\n",
        )

    def test_include_against_the_arrows(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/a.h",
            '#pragma once\n#include "http/exchange.h"\n',
            "2: model may not include http/exchange.h: no arrow to http",
        )

    def test_arrows_are_not_followed_through_other_rooms(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/transport/a.h",
            '#include "runtime/thread.h"\n',
            "1: transport may not include runtime/thread.h: no arrow to runtime",
        )

    def test_include_in_angle_brackets_against_the_arrows(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/a.h",
            "#  include <transport/x.h>\n",
            "1: model may not include transport/x.h: no arrow to transport",
        )

    def test_host_includes_nothing_of_the_plugin(self):
        self.assert_finds(
            rooms.check_rooms,
            "host/chainhost/a.cpp",
            '#include "model/data.h"\n#include "runtime/mutex.h"\n#include "chainhost/b.h"\n',
            "1: host/chainhost may not include model/data.h: no arrow to model",
        )

    def test_public_headers_include_no_room(self):
        self.assert_finds(
            rooms.check_rooms,
            "include/kel/a.h",
            '#include "runtime/mutex.h"\n#include "kel/types.h"\n',
            "1: kel may not include runtime/mutex.h: no arrow to runtime",
        )

    def test_plugin_does_not_reach_into_the_host(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/a.cpp",
            '#include "chainhost/json_value.h"\n',
            "1: model may not include chainhost/json_value.h: no arrow to host/chainhost",
        )

    def test_include_that_names_no_room(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/a.cpp",
            '#include "data.h"\n',
            '1: "data.h" is in no room; ours are named by room',
        )

    def test_include_in_a_comment_passes(self):
        self.assert_passes(
            rooms.check_rooms, "src/model/a.cpp", '/*\n#x\n*/ // #include "http/a.h"\n'
        )

    def test_poco_outside_its_rooms(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/a.cpp",
            "#include <Poco/URI.h>\n",
            "1: model is to stay free of POCO",
        )

    def test_room_without_a_line(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/extra/a.cpp",
            "",
            "0: the room extra has no line in ARCHITECTURE.md",
        )

    def test_link_along_the_arrows_passes(self):
        self.assert_passes(
            rooms.check_rooms,
            "src/http/CMakeLists.txt",
            "room(http\n  SOURCES transport.cpp\n  USES model ovcommon Poco::Net)  # transport\n",
        )

    def test_link_against_the_arrows(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/http/CMakeLists.txt",
            "# The room.\nroom(http\n  SOURCES a.cpp\n  USES model transport)\n",
            "2: http may not link transport: no arrow to transport",
        )

    def test_link_of_a_library_against_the_arrows(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/transport/CMakeLists.txt",
            "room(transport SOURCES a.cpp USES http ovclient)\n",
            "1: transport may not link ovclient: no arrow to runtime",
        )

    def test_plain_link_line_against_the_arrows(self):
        self.assert_finds(
            rooms.check_rooms,
            "host/chainhost/CMakeLists.txt",
            "target_link_libraries(chainhost PRIVATE kelhost model)\n",
            "1: host/chainhost may not link model: no arrow to model",
        )

    def test_link_of_poco_outside_its_rooms(self):
        self.assert_finds(
            rooms.check_rooms,
            "src/model/CMakeLists.txt",
            "room(model SOURCES a.cpp USES Poco::Foundation)\n",
            "1: model is to stay free of POCO",
        )


class ArchitectureTest(TidyTest):
    def assert_refused(self, block, text):
        architecture = f"```rooms\n{block}```\n"
        self.assert_finds(rooms.check_rooms, "ARCHITECTURE.md", architecture, f"0: {text}")

    def test_missing_file(self):
        self.assertEqual(
            self.found(rooms.check_rooms),
            ["ARCHITECTURE.md:0: missing: it draws the arrows between the rooms"],
        )

    def test_missing_block(self):
        self.assert_finds(
            rooms.check_rooms, "ARCHITECTURE.md", "```\na:\n```\n", "0: no fenced block ```rooms"
        )

    def test_line_without_colon(self):
        self.assert_refused("a b\n", "bad line in the block of rooms: 'a b'")

    def test_room_with_two_lines(self):
        self.assert_refused("a:\na:\n", "bad line in the block of rooms: 'a:'")

    def test_unknown_room(self):
        self.assert_refused("a: b\n", "a uses the room b, which has no line")

    def test_circle(self):
        self.assert_refused("a: b\nb: c\nc: b\n", "the arrows run in a circle: a -> b -> c -> b")


class LengthTest(TidyTest):
    def test_file_of_800_lines_passes(self):
        self.assert_passes(rules.check_file_lengths, "src/a/a.cpp", "\n" * 800)

    def test_file_of_801_lines(self):
        self.assert_finds(
            rules.check_file_lengths, "tests/a/a_test.cpp", "\n" * 801, "0: 801 lines; at most 800"
        )

    def test_text_may_be_longer(self):
        self.assert_passes(rules.check_file_lengths, "README.md", "\n" * 2000)

    def test_line_of_100_columns_passes(self):
        self.assert_passes(rules.check_line_lengths, "src/a/a.h", "x" * 99 + "ü\n")

    def test_line_of_101_columns(self):
        self.assert_finds(
            rules.check_line_lengths,
            "src/a/a.h",
            "\n" + "x" * 101 + "\n",
            "2: 101 columns; at most 100",
        )

    def test_script_without_suffix_is_measured(self):
        self.assert_finds(
            rules.check_line_lengths,
            "run",
            "#!/bin/sh\n" + "x" * 101 + "\n",
            "2: 101 columns; at most 100",
        )


class MarkerTest(TidyTest):
    def test_each_marker_in_any_kind_of_file(self):
        for marker in ("TODO", "FIXME", "XXX"):
            for path in ("src/a/a.cpp", "README.md", "tools/lib.sh", "CMakeLists.txt"):
                with self.subTest(marker=marker, path=path):
                    self.assert_finds(
                        rules.check_markers,
                        path,
                        f"x {marker}: y\n",
                        f"1: leftover marker {marker}",
                    )
                self.write(path, "")

    def test_longer_words_pass(self):
        self.assert_passes(rules.check_markers, "src/a/a.cpp", 'mkdtemp("name-XXXXXX"); // xxx\n')


class ClockTest(TidyTest):
    def test_clocks(self):
        for code, name in (
            ("auto t = std::chrono::steady_clock::now();", "steady_clock"),
            ("std::chrono::system_clock::time_point t;", "system_clock"),
            ("clock_gettime(CLOCK_MONOTONIC, &t);", "clock_gettime"),
            ("gettimeofday(&t, nullptr);", "gettimeofday"),
            ("Poco::Timestamp now;", "Poco::Timestamp"),
            ("x = std::time(nullptr);", "std::time(nullptr"),
            ("x = time(0);", "time(0"),
        ):
            with self.subTest(code=code):
                self.assert_finds(
                    rules.check_clocks,
                    "src/http/a.cpp",
                    code + "\n",
                    f"1: {name} reads a clock: use src/runtime",
                )

    def test_timed_waits(self):
        self.assert_finds(
            rules.check_clocks,
            "host/chainhost/a.cpp",
            "changed.wait_for(lock, limit);\n",
            "1: wait_for waits by a clock: use src/runtime",
        )

    def test_sleeps_also_in_tests(self):
        for call in (
            "std::this_thread::sleep_for",
            "usleep",
            "::nanosleep",
            "sleep",
            "Poco::Thread::sleep",
        ):
            for path in ("src/http/a.cpp", "tests/http/a_test.cpp", "host/kelhost/a.cpp"):
                with self.subTest(call=call, path=path):
                    name = call.split("::")[-1]
                    self.assert_finds(
                        rules.check_clocks,
                        path,
                        f"{call} (10);\n",
                        f"1: {name} sleeps: use src/runtime",
                    )
                self.write(path, "")

    def test_runtime_may(self):
        self.assert_passes(
            rules.check_clocks,
            "src/runtime/platform.cpp",
            "clock_gettime(a, b); nanosleep(c, d);\n",
        )

    def test_tests_may_measure_and_guard_against_hangs(self):
        self.assert_passes(
            rules.check_clocks,
            "tests/http/a_test.cpp",
            "std::chrono::steady_clock::now(); changed.wait_for(lock, guard);\n",
        )

    def test_comments_texts_and_other_names_pass(self):
        self.assert_passes(
            rules.check_clocks,
            "src/http/a.cpp",
            '// steady_clock\n/* nanosleep(\n usleep( */ x = "time(0)"; Sleeper sleeper(1);\n'
            "date.timestamp(); runtime(0);\n",
        )


class TestsRunTest(TidyTest):
    def test_commented_out_tests(self):
        for line in ("// TEST(A, B) {", "  //TEST_F(A, B)", "/* TEST_P(A, B)", " * TYPED_TEST(A)"):
            with self.subTest(line=line):
                self.assert_finds(
                    rules.check_tests_run, "tests/a/a_test.cpp", line, "1: a test is commented out"
                )

    def test_tests_switched_off(self):
        for line in ("TEST(A, DISABLED_B) {", "  GTEST_SKIP();", "#if 0", "# if 0  // later"):
            with self.subTest(line=line):
                self.assert_finds(
                    rules.check_tests_run,
                    "tests/a/a_test.cpp",
                    line,
                    "1: code or a test is switched off",
                )

    def test_sources_commented_out_in_cmake(self):
        for line in ("#  a_test.cpp", "# test_program(a_test", "  #add_test(NAME a"):
            with self.subTest(line=line):
                self.assert_finds(
                    rules.check_tests_run,
                    "tests/a/CMakeLists.txt",
                    line + "\n",
                    "1: a source or a test is commented out",
                )

    def test_tests_switched_off_in_cmake(self):
        for line in ("PROPERTIES DISABLED TRUE)", "PROPERTIES SKIP_RETURN_CODE 77)"):
            with self.subTest(line=line):
                self.assert_finds(
                    rules.check_tests_run,
                    "tests/a/CMakeLists.txt",
                    line + "\n",
                    "1: a test is switched off",
                )

    def test_skipped_python_test(self):
        for line in (
            '@unittest.skip("later")',
            "@unittest.expectedFailure",
            'self.skipTest("x")',
            '@pytest.mark.skipif(True, reason="x")',
            "@pytest.mark.xfail",
            'pytest.skip("x")',
            'pytest.importorskip("x")',
        ):
            with self.subTest(line=line):
                self.assert_finds(
                    rules.check_tests_run, "tests/a/a_test.py", line, "1: a test is skipped"
                )

    def test_tests_that_run_pass(self):
        self.assert_passes(
            rules.check_tests_run, "tests/a/a_test.cpp", "// A test.\nTEST(A, B) {}\n#if 01\n"
        )
        self.assert_passes(
            rules.check_tests_run,
            "tests/CMakeLists.txt",
            "# test_program(NAME LABEL label SOURCES file...)\n# For a_test.cpp and others.\n",
        )


class HeaderCommentTest(TidyTest):
    def test_comment_passes(self):
        self.assert_passes(rules.check_header_comments, "src/http/a.h", "// http/a.h : what.\n")
        self.assert_passes(rules.check_header_comments, "include/kel/b.h", "/* kel/b.h : x.\n */")

    def test_other_beginnings(self):
        for text in ("", "#pragma once\n", "// a.h : x\n", "// model/a.h : x\n", "// http/a.h\n"):
            with self.subTest(text=text):
                self.assert_finds(
                    rules.check_header_comments,
                    "src/http/a.h",
                    text,
                    '1: does not begin with the comment "http/a.h : ..."',
                )

    def test_sources_need_none(self):
        self.assert_passes(rules.check_header_comments, "src/http/a.cpp", "int a;\n")


class SourcesListedTest(TidyTest):
    def test_listed_sources_pass(self):
        self.write("tests/CMakeLists.txt", "test_program(x SOURCES support/base.cpp)\n")
        self.write("tests/a/CMakeLists.txt", "foreach(name one two)\nSOURCES a_test.cpp\n")
        self.write("tests/support/base.cpp", "")
        self.write("tests/a/two.c", "")
        self.assert_passes(rules.check_sources_listed, "tests/a/a_test.cpp", "")

    def test_source_that_is_not_listed(self):
        self.write("tests/a/CMakeLists.txt", "SOURCES more_a_test.cpp a_test.cpp.in a_test2.cpp\n")
        self.assert_finds(
            rules.check_sources_listed,
            "tests/a/a_test.cpp",
            "",
            "0: named in no CMakeLists.txt above it",
        )


class TreeTest(TidyTest):
    def test_builds_and_history_are_left_out(self):
        self.write("build/release/a.cpp", "")
        self.write(".git/a.txt", "")
        self.write(".ci/run", "#!/bin/sh\n")
        self.write("data", "no script")

        self.assertEqual(Tree(self.root).paths(), [".ci/run"])

    def test_comments_and_texts_are_blanked_line_by_line(self):
        code = (
            'a = "x // y"; // c\n/* d\n"e */ f("\\"g");\n'
            "char q = '\"'; n = 1'000'000; h = R\"X(\n// \"i)\" )X\"; j();\n"
        )

        blanked = without_comments_and_strings(code)

        self.assertEqual(len(blanked.splitlines()), len(code.splitlines()))
        self.assertEqual(
            "".join(blanked.split()), 'a="";f("");charq=;n=1\'000\'000;h="";j();'
        )


class MainTest(TidyTest):
    def run_main(self):
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            code = tidy.main([str(self.root)])
        return code, out.getvalue()

    def test_tree_in_order_gives_0(self):
        self.write("ARCHITECTURE.md", ARCHITECTURE)

        self.assertEqual(self.run_main(), (0, "breaches of the rules: 0\n"))

    def test_breaches_of_several_rules_give_1(self):
        self.write("ARCHITECTURE.md", ARCHITECTURE)
        self.write("src/model/CMakeLists.txt", "room(model SOURCES a.cpp)\n")
        self.write("src/model/a.cpp", '#include "http/a.h"\nusleep(1);\n')

        code, output = self.run_main()

        self.assertEqual(code, 1)
        self.assertEqual(
            output.splitlines(),
            [
                "src/model/a.cpp:1: model may not include http/a.h: no arrow to http",
                "src/model/a.cpp:2: usleep sleeps: use src/runtime",
                "breaches of the rules: 2",
            ],
        )

    def test_every_rule_is_run(self):
        names = [name for name in dir(rules) if name.startswith("check_")]

        self.assertEqual(sorted(check.__name__ for check in rules.ALL), names)


if __name__ == "__main__":
    unittest.main()
