#!/usr/bin/python3
"""manual_test : shows each check failing on a difference, and passing when the two sides agree."""

import contextlib
import io
import tempfile
import unittest
from pathlib import Path

import checks
import manual
from cpp_texts import Source, log_calls, sources_below
from manual_pages import Manual

LOG_TABLE = "| Level | Line | When |\n|---|---|---|\n"
FAILURE_TABLE = "| Text | Cause |\n|---|---|\n"
KEY_TABLE = "| Key | Type |\n|---|---|\n"


class ManualTest(unittest.TestCase):
    """Writes small trees and tells what a check finds in them."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)

    def write(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def source(self, text, path="src/http/a.cpp"):
        self.write(path, text)

    def log_page(self, rows):
        self.write("docs/log-lines.md", LOG_TABLE + rows)

    def assert_found(self, check, *expected):
        found = check(sources_below(self.root, "src"), Manual(self.root))
        self.assertEqual(found, list(expected))


class TextsTest(unittest.TestCase):
    def texts(self, code):
        return [text.shown() for text in Source("a.cpp", code).texts]

    def test_adjacent_literals_are_one_text(self):
        self.assertEqual(self.texts('f("one "\n  "two");'), ["one two"])

    def test_operands_are_holes(self):
        code = 'x = owner + " of " + a.b(c)->d[1] + "!" + std::to_string(n);'

        self.assertEqual(self.texts(code), ["<> of <>!<>"])

    def test_a_string_that_is_made_of_a_literal_is_that_literal(self):
        self.assertEqual(self.texts('std::string("a ") + b + ns::string{" c"};'), ["a <> c"])

    def test_texts_inside_calls_stand_alone(self):
        code = 'throw Error(name, "first", c ? "second " + d : e("third"));'

        self.assertEqual(self.texts(code), ["first", "second <>", "third"])

    def test_escapes_are_resolved(self):
        self.assertEqual(self.texts(r'f("a \"b\" \\ \v\x41\101");'), ['a "b" \\ ' + "\vAA"])

    def test_raw_literals_and_prefixes(self):
        self.assertEqual(self.texts('f(R"x(a "b")x", u8"c");'), ['a "b"', "c"])

    def test_comments_includes_assertions_and_linkage_are_passed_over(self):
        code = (
            '#include "http/a.h"\n// "b"\n/* "c" */\nstatic_assert(x, "d");\nassert(f("e"));\n'
            "extern \"C\" { char q = '\"'; }\n"
        )

        self.assertEqual(self.texts(code), [])

    def test_digit_separators_do_not_begin_a_character(self):
        self.assertEqual(self.texts("int i = 1'000; f(\"a\"); int j = 2'000;"), ["a"])

    def test_lines_are_counted_through_comments_and_literals(self):
        source = Source("a.cpp", '/*\n*/ f("a"\n"b");\ng("c");\n')

        self.assertEqual([(text.value, text.line) for text in source.texts], [("ab", 2), ("c", 4)])

    def test_thrown_texts_are_told_from_others(self):
        source = Source("a.cpp", 'if (a) throw E(b + " c");\nfail("d");\nf("e");')

        self.assertEqual([text.is_thrown for text in source.texts], [True, True, False])

    def test_map_keys_are_told_from_others(self):
        source = Source("a.h", 'MapKey a{"a"}; f(MapKey("b")); MapKey{"c"}; f("d");')

        self.assertEqual([text.is_map_key for text in source.texts], [True, True, True, False])

    def test_variables_that_texts_are_given_to(self):
        code = 'constexpr char kA[] = "a"; const std::string b = "b" + c; std::string d("d");'
        source = Source("a.cpp", code)

        self.assertEqual([text.name for text in source.texts], ["kA", "b", "d"])


class LogCallsTest(unittest.TestCase):
    def calls(self, *codes):
        calls = log_calls([Source("a.cpp", code) for code in codes])
        return [(sorted(call.levels), call.format) for call in calls]

    def test_level_and_format(self):
        code = 'logger_.log(LogLevel::Warn, "a %s "\n"b", f(x, "y"));'

        self.assertEqual(self.calls(code), [(["WARN"], "a %s b")])

    def test_shorthands(self):
        code = 'logger.info("a %d", 1); get()->debug("b %s", c);'

        self.assertEqual(self.calls(code), [(["INFO"], "a %d"), (["DEBUG"], "b %s")])

    def test_level_that_is_chosen_at_the_call(self):
        code = 'l.log(ending ? LogLevel::Debug : LogLevel::Error, "a");'

        self.assertEqual(self.calls(code), [(["DEBUG", "ERROR"], "a")])

    def test_level_that_is_handed_in_is_what_the_callers_say(self):
        code = 'void A::f(L level) const { if (a(b)) { for (;;) { l.log(level, "a"); } } }'
        callers = "void g() { f(LogLevel::Warn); }", "f(x, LogLevel::Info); h(LogLevel::Debug);"

        self.assertEqual(self.calls(code, *callers), [(["INFO", "WARN"], "a")])

    def test_level_that_callers_hand_on_is_any_that_their_file_names(self):
        code = 'void f(L level) {} void g(L level) { l.log(level, "a"); }'
        callers = "void h(L level) { g(level); }\nh(LogLevel::Warn); h(LogLevel::Error);"

        self.assertEqual(self.calls(code, callers), [(["ERROR", "WARN"], "a")])

    def test_format_that_is_no_literal(self):
        self.assertEqual(self.calls("l.log(LogLevel::Info, kText);"), [(["INFO"], None)])

    def test_other_functions_of_these_names_are_no_calls(self):
        self.assertEqual(self.calls('log("a"); std::log(2.0); b.log;'), [])


class LogLinesTest(ManualTest):
    def test_lines_that_agree(self):
        self.source('l.log(LogLevel::Warn, "a %s", b);')
        self.log_page("| WARN | `a %s` | |\n")

        self.assert_found(checks.check_log_lines_are_documented)
        self.assert_found(checks.check_documented_log_lines_exist)

    def test_line_that_the_manual_lacks(self):
        self.source('\nl.log(LogLevel::Warn, "a %s", b);')
        self.log_page("| WARN | `a %d` | |\n")

        self.assert_found(
            checks.check_log_lines_are_documented,
            'src/http/a.cpp:2: log-lines.md lacks, at WARN: "a %s"',
        )

    def test_line_at_another_level(self):
        self.source('l.log(x ? LogLevel::Warn : LogLevel::Debug, "a");')
        self.log_page("| WARN, INFO | `a` | |\n")

        self.assert_found(
            checks.check_log_lines_are_documented,
            'src/http/a.cpp:1: log-lines.md lacks, at DEBUG: "a"',
        )
        self.assert_found(
            checks.check_documented_log_lines_exist,
            'docs/log-lines.md:3: nothing logs, at INFO: "a"',
        )

    def test_blanks_in_front_count(self):
        self.source('l.log(LogLevel::Trace, "   a");')
        self.log_page("| TRACE | `a` | |\n")

        self.assert_found(
            checks.check_log_lines_are_documented,
            'src/http/a.cpp:1: log-lines.md lacks, at TRACE: "   a"',
        )

    def test_line_that_nothing_logs(self):
        self.source('f("gone %s");')
        self.log_page("| WARN | `gone %s` | |\n")

        self.assert_found(
            checks.check_documented_log_lines_exist,
            'docs/log-lines.md:3: nothing logs, at WARN: "gone %s"',
        )

    def test_level_that_nothing_tells(self):
        self.source('void f(L level) { l.log(level, "a"); }')
        self.log_page("")

        self.assert_found(
            checks.check_log_lines_are_documented,
            "src/http/a.cpp:1: logs at a level that nothing tells",
        )

    def test_format_that_is_no_literal(self):
        self.source("l.log(LogLevel::Warn, text);")

        self.assert_found(
            checks.check_log_lines_are_documented,
            "src/http/a.cpp:1: logs a format that is no literal",
        )

    def test_composed_line_of_a_variable(self):
        self.source('const std::string t = "Bad: " + x;\nl.log(LogLevel::Warn, "%s", t);')
        self.log_page("| WARN | `Bad: <thing>` | |\n")

        self.assert_found(checks.check_log_lines_are_documented)
        self.assert_found(checks.check_documented_log_lines_exist)

    def test_composed_line_that_the_manual_lacks(self):
        self.source('const std::string t = "Bad: " + x;\nl.log(LogLevel::Warn, "%s", t);')
        self.log_page("| WARN | `Worse: <thing>` | |\n")

        self.assert_found(
            checks.check_log_lines_are_documented,
            'src/http/a.cpp:2: log-lines.md lacks, at WARN: "Bad: <>"',
        )
        self.assert_found(
            checks.check_documented_log_lines_exist,
            'docs/log-lines.md:3: nothing logs, at WARN: "Worse: <thing>"',
        )

    def test_composed_line_of_a_constant_in_a_header(self):
        self.source('constexpr char kGone[] = "all gone";', "src/http/a.h")
        self.source('l.log(LogLevel::Error, "%s", kGone);')

        self.assert_found(
            checks.check_log_lines_are_documented,
            'src/http/a.cpp:1: log-lines.md lacks, at ERROR: "all gone"',
        )

    def test_composed_line_of_which_a_part_is_wrong(self):
        self.source('f("from " + a); auto t = "Ignored: " + b;\nl.log(LogLevel::Warn, "%s", t);')
        self.log_page("| WARN | `Ignored: from <a>` | |\n| WARN | `Ignored: to <a>` | |\n")

        self.assert_found(
            checks.check_documented_log_lines_exist,
            'docs/log-lines.md:4: nothing logs, at WARN: "Ignored: to <a>"',
        )

    def test_composed_line_that_a_parameter_brings(self):
        self.source('refuse("Ignored: " + why);\nl.log(LogLevel::Warn, "%s", reason);')
        self.log_page("| WARN | `Ignored: <why>` | |\n| ERROR | `Ignored: <why>` | |\n")

        self.assert_found(
            checks.check_documented_log_lines_exist,
            'docs/log-lines.md:4: nothing logs, at ERROR: "Ignored: <why>"',
        )


class DocumentedTextsTest(ManualTest):
    def test_thrown_text_that_the_manual_lacks(self):
        self.source('throw E("too much of " + x);')
        self.write("docs/failures.md", FAILURE_TABLE + "| `too little of <x>` | |\n")

        self.assert_found(
            checks.check_texts_are_documented,
            'src/http/a.cpp:1: failures.md and configuration.md lack: "too much of <>"',
        )
        self.assert_found(
            checks.check_documented_failures_exist,
            'docs/failures.md:3: nothing says: "too little of <x>"',
        )

    def test_documented_failure_of_which_a_part_is_wrong(self):
        self.source('throw E(key + " must be " + what); f("a number"); f("a text");')
        rows = "| `<key> must be a number` | |\n| `<key> must be a pear` | |\n"
        self.write("docs/failures.md", FAILURE_TABLE + rows)

        self.assert_found(
            checks.check_documented_failures_exist,
            'docs/failures.md:4: nothing says: "<key> must be a pear"',
        )

    def test_thrown_text_that_agrees(self):
        self.source('throw E("too much of " + x + " in it");')
        for page in checks.FAILURE_PAGES:
            with self.subTest(page=page):
                self.write(f"docs/{page}", FAILURE_TABLE + "| `too much of <x> in it` | |\n")

                self.assert_found(checks.check_texts_are_documented)
                self.assert_found(checks.check_documented_failures_exist)
                (self.root / "docs" / page).unlink()

    def test_thrown_text_on_another_page_does_not_count(self):
        self.source('throw E("too much");')
        self.write("docs/messages.md", "`too much`\n")

        self.assert_found(
            checks.check_texts_are_documented,
            'src/http/a.cpp:1: failures.md and configuration.md lack: "too much"',
        )

    def test_other_text_may_stand_on_any_page(self):
        self.source('f("a word"); f("b word");')
        self.write("docs/messages.md", "`a word`\n")

        self.assert_found(
            checks.check_texts_are_documented, 'src/http/a.cpp:1: the manual lacks: "b word"'
        )

    def test_text_in_a_block_of_code_does_not_count(self):
        self.source('f("a word");')
        self.write("docs/messages.md", "```\n`a word`\n```\n")

        self.assert_found(
            checks.check_texts_are_documented, 'src/http/a.cpp:1: the manual lacks: "a word"'
        )

    def test_words_and_formats_need_no_place(self):
        self.source('f("word"); f(": " + x); l.log(LogLevel::Info, "a line");')

        self.assert_found(checks.check_texts_are_documented)

    def test_text_that_nobody_reads(self):
        self.source('throw E("not " + x + " a bool");')
        self.write(checks.UNSEEN_FILE, "# Because.\nnot <> a bool\n\nlong gone\n")

        self.assert_found(checks.check_texts_are_documented)
        self.assert_found(
            checks.check_unseen_texts_exist,
            'tests/docs/unseen_texts.txt: nothing says any more: "long gone"',
        )


class MessageKeysTest(ManualTest):
    def test_keys_that_agree(self):
        self.source('MapKey a{"a"}; MapKey b{"b"};')
        nested = KEY_TABLE.replace("Key", "Key in `http`")
        self.write("docs/messages.md", f"{KEY_TABLE}| `a` | |\n\n{nested}| `b` | |\n")

        self.assert_found(checks.check_message_keys_are_documented)
        self.assert_found(checks.check_documented_message_keys_exist)

    def test_keys_that_differ(self):
        self.source('MapKey a{"a"};')
        self.write("docs/messages.md", KEY_TABLE + "| `b` | |\n")

        self.assert_found(
            checks.check_message_keys_are_documented,
            'src/http/a.cpp:1: messages.md has no row for the key "a"',
        )
        self.assert_found(
            checks.check_documented_message_keys_exist,
            'docs/messages.md:3: nothing reads or writes the key "b"',
        )


    def test_key_that_only_the_other_section_has(self):
        self.source('MapKey a{"a"}; MapKey b{"b"};', "src/http/message_keys.h")
        self.source("f(keys_.a); g(keys_.b);", "src/http/request_mapping.cpp")
        self.source("f(keys_.b);", "src/http/response_mapping.cpp")
        request = f"## The request\n{KEY_TABLE}| `a` | |\n\n"
        self.write("docs/messages.md", f"{request}## The response\n{KEY_TABLE}| `b` | |\n")

        self.assert_found(
            checks.check_message_keys_are_documented,
            'src/http/request_mapping.cpp:0: "The request" in messages.md has no row for the key '
            '"b"',
        )

    def test_mappings_name_their_keys_as_the_check_expects(self):
        root = Path(__file__).resolve().parents[2]
        used = {source.path: source.members_used("keys_") for source in sources_below(root, "src")}

        for path in checks.KEY_SECTIONS:
            with self.subTest(path=path):
                self.assertIn("requestId", used[path])


class LinksTest(ManualTest):
    def test_links(self):
        self.write("README.md", "")
        self.write("docs/b.md", "# What is `tried` again?\n")
        self.write(
            "docs/a.md",
            "## Here\n[1](../README.md) [2](b.md#what-is-tried-again) [3](#here)\n"
            "[4](c.md) [5](b.md#there)\n[6](#there) [7](https://example.com/x)\n",
        )

        self.assert_found(
            checks.check_links,
            "docs/a.md:3: the link to c.md leads nowhere",
            "docs/a.md:3: b.md#there names no heading",
            "docs/a.md:4: #there names no heading",
        )


    def test_index(self):
        self.write("docs/a.md", "")
        self.write("docs/b.md", "[1](a.md)\n")
        self.write("docs/README.md", "[1](a.md#top)\n")

        self.assert_found(checks.check_index, "docs/README.md:0: no link to b.md")


class SecurityPageTest(ManualTest):
    def test_names_that_are_there(self):
        code = "TEST_F(ATest, Holds) {}\nTEST_P(\n    BTest, Too) {}\n"
        self.write("tests/http/a_test.cpp", code)
        self.write("docs/configuration.md", KEY_TABLE + "| `caFile` | |\n| `tls` | |\n")
        page = "`ATest.Holds`, `BTest.Too` `kel`\n[1](docs/configuration.md#keys)\n"
        self.write("SECURITY.md", page + "`caFile` `tls: true`\n")

        self.assert_found(checks.check_security_names)

    def test_names_that_are_missing(self):
        self.write("tests/http/a_test.cpp", "TEST(ATest, Holds) {}\n")
        self.write("docs/configuration.md", KEY_TABLE + "| `caFile` | |\n")
        self.write("SECURITY.md", "`ATest.Held` `cafFile`\n`tls: true`\n[1](docs/b.md)\n")

        self.assert_found(
            checks.check_security_names,
            "SECURITY.md: there is no test ATest.Held",
            "SECURITY.md: there is no configuration key cafFile",
            "SECURITY.md: there is no configuration key tls",
            "SECURITY.md:3: the link to docs/b.md leads nowhere",
        )


class ProgramTest(ManualTest):
    def run_manual(self):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            code = manual.main([str(self.root)])
        return code, output.getvalue()

    def test_differences_are_printed_and_counted(self):
        self.source('MapKey a{"a"};')
        self.write("docs/README.md", "[1](b.md)\n")

        self.assertEqual(
            self.run_manual(),
            (
                1,
                "docs/README.md:1: the link to b.md leads nowhere\n"
                'src/http/a.cpp:1: messages.md has no row for the key "a"\n'
                "differences between manual and sources: 2\n",
            ),
        )

    def test_agreement_is_success(self):
        self.source('l.log(LogLevel::Warn, "a");')
        self.log_page("| WARN | `a` | |\n")
        self.write("docs/README.md", "[log](log-lines.md)\n")

        self.assertEqual(self.run_manual(), (0, "differences between manual and sources: 0\n"))


if __name__ == "__main__":
    unittest.main()
