#!/usr/bin/python3
"""coverage_test : the parts of the coverage report; the last cases count with the compiler."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

from coverage import code_counts, report  # noqa: E402
from handlers import handlers_in  # noqa: E402
from line_counts import CountsError, read_counts  # noqa: E402
from table import Row, rendered, row_of, sum_of  # noqa: E402


def lines_of(source):
    return [(each.line, each.opening, each.closing) for each in handlers_in("a.cpp", source)]


class FindingHandlersTest(unittest.TestCase):
    def test_finds_each_handler_of_a_try_block(self):
        source = "try {\n  f();\n} catch (const A& a) {\n  g();\n} catch (...) {\n}\n"

        self.assertEqual(lines_of(source), [(3, 3, 5), (5, 5, 6)])

    def test_finds_handlers_within_handlers(self):
        source = "try {\n} catch (A&) {\n  try {\n  } catch (...) {\n    f({1});\n  }\n}\n"

        self.assertEqual(lines_of(source), [(2, 2, 7), (4, 4, 6)])

    def test_finds_those_of_a_whole_function(self):
        source = "A::A() try : b(1) {\n} catch (const B<C>& b) {\n  throw;\n}\n"

        self.assertEqual(lines_of(source), [(2, 2, 4)])

    def test_parameter_and_brace_may_stand_on_other_lines(self):
        source = "try {\n}\ncatch (\n    const A (&a)[2])\n\n{\n}\n"

        self.assertEqual(lines_of(source), [(3, 6, 7)])

    def test_passes_over_comments_and_strings(self):
        source = (
            "// catch (...) { }\n/* catch (A&) {\n} */\n"
            'f("catch (...) {", \'{\', R"x(catch (...) { ")x");\n'
            "int trycatch(int), catching(int);\n"
        )

        self.assertEqual(lines_of(source), [])

    def test_braces_in_comments_and_strings_end_nothing(self):
        source = "try {\n} catch (...) {  // }\n  f('}', \"}\", 1'000);\n  /* } */\n}\n"

        self.assertEqual(lines_of(source), [(2, 2, 5)])

    def test_an_open_bracket_is_an_error(self):
        with self.assertRaisesRegex(ValueError, "a bracket that nothing closes"):
            handlers_in("a.cpp", "try {} catch (...) {\n")


class ReachedHandlersTest(unittest.TestCase):
    def reached(self, source, counts):
        return [each.is_reached(counts) for each in handlers_in("a.cpp", source)]

    def test_a_line_of_its_body_that_has_run_proves_it(self):
        source = "try {\n} catch (A&) {\n  f();\n  g();\n}\n"

        self.assertEqual(self.reached(source, {2: 1, 3: 1, 4: 0, 5: 0}), [True])
        self.assertEqual(self.reached(source, {2: 1, 3: 0, 4: 0, 5: 1}), [False])

    def test_an_empty_one_is_proven_by_its_closing_brace(self):
        source = "try {\n} catch (A&) {\n  // why\n}\n"

        self.assertEqual(self.reached(source, {2: 1, 4: 1}), [True])
        self.assertEqual(self.reached(source, {2: 1, 4: 0}), [False])

    def test_an_empty_one_before_another_is_not_to_be_seen(self):
        source = "try {\n} catch (A&) {\n} catch (...) {\n  f();\n}\n"
        first, _ = handlers_in("a.cpp", source)

        self.assertFalse(first.can_be_seen({2: 1, 3: 1, 4: 1, 5: 1}))
        self.assertEqual(self.reached(source, {2: 1, 3: 1, 4: 1, 5: 1}), [False, True])

    def test_one_on_a_single_line_is_not_to_be_seen(self):
        self.assertEqual(self.reached("try {\n} catch (...) { f(); }\n", {2: 1}), [False])


class TableTest(unittest.TestCase):
    def test_a_row_names_the_lines_that_have_not_run(self):
        row = row_of("src/a/b.cpp", {1: 1, 3: 0, 6: 0, 7: 2, 9: 0})

        self.assertEqual(row, Row("src/a/b.cpp", 5, 2, "3-6, 9"))

    def test_sums_rooms_and_all(self):
        rows = [Row("src/b/c.h", 2, 2), Row("src/a/b.h", 3, 2, "4"), Row("src/a/a.cpp", 5, 5)]

        self.assertEqual(
            rendered(rows),
            [
                "file         lines  covered  percent  not covered",
                "src/a/a.cpp      5        5   100.00",
                "src/a/b.h        3        2    66.66  4",
                "src/b/c.h        2        2   100.00",
                "",
                "room         lines  covered  percent",
                "src/a            8        7    87.50",
                "src/b            2        2   100.00",
                "in all          10        9    90.00",
            ],
        )

    def test_nothing_below_a_limit_looks_as_if_it_met_it(self):
        self.assertIn("  94.99", rendered([sum_of("a/b/c", [Row("x", 1000000, 949999)])])[-1])


class ReportTest(unittest.TestCase):
    HANDLER = "void f() try {\n  g();\n} catch (...) {\n  h();\n}\n"
    SOURCE = HANDLER + "i();\n" * 200

    def test_brackets_alone_are_no_line_of_code(self):
        source = 'f({\n  a,\n});  // a\n}\n{\n"}"\n'

        self.assertEqual(code_counts(source, dict.fromkeys(range(1, 7), 0)), {1: 0, 2: 0, 6: 0})

    def test_enough_is_95_percent_and_every_handler(self):
        counts = {"src/a/a.cpp": {line: int(line != 30) for line in [4, *range(12, 31)]}}

        lines, is_enough = report({"src/a/a.cpp": self.SOURCE}, counts)

        self.assertTrue(is_enough)
        self.assertEqual(lines[-1], "catch blocks: 1, reached: 1")

    def test_below_95_percent_is_not_enough(self):
        counts = {"src/a/a.cpp": {line: int(line < 29) for line in [4, *range(12, 31)]}}

        self.assertFalse(report({"src/a/a.cpp": self.SOURCE}, counts)[1])

    def test_a_handler_that_has_not_run_is_named_and_not_enough(self):
        counts = {"src/a/a.cpp": {line: int(line != 4) for line in range(1, 101)}}

        lines, is_enough = report({"src/a/a.cpp": self.SOURCE}, counts)

        self.assertFalse(is_enough)
        self.assertEqual(
            lines[-2:], ["catch blocks: 1, reached: 0", "not reached: src/a/a.cpp:3"]
        )

    def test_says_which_handler_cannot_be_proven(self):
        sources = {"src/a/a.cpp": "try {\n} catch (...) {}\n"}

        lines, is_enough = report(sources, {"src/a/a.cpp": {1: 1, 2: 1}})

        self.assertFalse(is_enough)
        self.assertEqual(
            lines[-1], "not reached: src/a/a.cpp:2 (no line of its own has code)"
        )

    def test_a_source_that_is_not_in_the_build_is_not_enough(self):
        sources = {"src/a/a.cpp": self.SOURCE, "src/a/b.cpp": "", "src/a/b.h": ""}

        lines, is_enough = report(sources, {"src/a/a.cpp": dict.fromkeys(range(1, 9), 1)})

        self.assertFalse(is_enough)
        self.assertIn("not in the build: src/a/b.cpp", lines)
        self.assertNotIn("not in the build: src/a/b.h", lines)


SAMPLE = """\
#include <cstdlib>
#include <stdexcept>

void fail(int kind) {
  if (kind == 1) throw std::runtime_error("1");
  if (kind == 2) throw std::logic_error("2");
  if (kind == 3) throw 3;
}

int several(int kind) {
  int result = 0;
  try {
    fail(kind);
  } catch (const std::runtime_error&) {
    result = 1;
  } catch (const std::logic_error& error) {
    result = error.what()[0];
  } catch (...) {  // the rest
  }
  return result;
}

void empty(int kind) {
  try {
    fail(kind);
  } catch (const std::runtime_error&) {
    // Nothing to do.
  }
}

struct Whole {
  explicit Whole(int kind) try {
    fail(kind);
  } catch (const std::logic_error&) {
    throw 4;
  }
};

int main(int, char** arguments) {
  const int kind = std::atoi(arguments[2]);
  try {
    if (arguments[1][0] == 's') several(kind);
    if (arguments[1][0] == 'e') empty(kind);
    if (arguments[1][0] == 'w') Whole whole(kind);
  } catch (const std::logic_error&) {
    return 0;
  } catch (int) {
    return 0;
  }
}
"""
RUNTIME, LOGIC, REST, EMPTY, WHOLE, MAIN_LOGIC, MAIN_INT = 14, 16, 18, 26, 34, 45, 47


class CompilersCountsTest(unittest.TestCase):
    """What the handlers module says about the compiler holds for the one that is here."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.root = Path(cls.folder.name).resolve()
        (cls.root / "sample.cpp").write_text(SAMPLE)
        command = "g++ -O0 -g1 --coverage -fprofile-abs-path -c -o sample.cpp.o sample.cpp"
        subprocess.run(command.split(), cwd=cls.root, check=True)
        subprocess.run("g++ --coverage -o sample sample.cpp.o".split(), cwd=cls.root, check=True)
        commands = [{"directory": str(cls.root), "command": command, "file": "sample.cpp"}]
        (cls.root / "compile_commands.json").write_text(json.dumps(commands))

    def setUp(self):
        (self.root / "sample.cpp.gcda").unlink(missing_ok=True)

    def run_sample(self, *arguments):
        subprocess.run([str(self.root / "sample"), *arguments], check=True)

    def reached(self):
        counts = read_counts(self.root, self.root)["sample.cpp"]
        return [h.line for h in handlers_in("sample.cpp", SAMPLE) if h.is_reached(counts)]

    def test_all_handlers_can_be_seen(self):
        self.run_sample("s", "0")
        counts = read_counts(self.root, self.root)["sample.cpp"]
        handlers = handlers_in("sample.cpp", SAMPLE)

        self.assertEqual(
            [each.line for each in handlers],
            [RUNTIME, LOGIC, REST, EMPTY, WHOLE, MAIN_LOGIC, MAIN_INT],
        )
        self.assertTrue(all(each.can_be_seen(counts) for each in handlers))
        self.assertEqual(self.reached(), [])

    def test_only_the_handler_that_was_chosen_is_reached(self):
        for arguments, lines in {
            ("s", "1"): [RUNTIME],
            ("s", "2"): [LOGIC],
            ("s", "3"): [REST],
            ("e", "1"): [EMPTY],
            ("e", "2"): [MAIN_LOGIC],
            ("w", "2"): [WHOLE, MAIN_INT],
            ("w", "3"): [MAIN_INT],
        }.items():
            with self.subTest(arguments=arguments):
                self.setUp()
                self.run_sample(*arguments)

                self.assertEqual(self.reached(), lines)

    def test_runs_add_up(self):
        self.run_sample("s", "1")
        self.run_sample("e", "1")

        self.assertEqual(self.reached(), [RUNTIME, EMPTY])

    def test_a_build_in_which_nothing_has_run_is_refused(self):
        with self.assertRaisesRegex(CountsError, "nothing has run"):
            read_counts(self.root, self.root)

    def test_a_build_without_counters_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "compile_commands.json").write_text("[]")

            with self.assertRaisesRegex(CountsError, "not built with counters"):
                read_counts(folder, folder)


if __name__ == "__main__":
    unittest.main()
