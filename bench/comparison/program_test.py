"""program_test : programs that end well, and others."""

import os
import sys
import unittest

import program


def python(code):
    return [sys.executable, "-c", code]


class ProgramTest(unittest.TestCase):
    def test_gives_what_it_has_printed(self):
        ended = program.run(python("import sys; print('out'); print('err', file=sys.stderr)"))

        self.assertEqual((ended.output, ended.errors), ("out\n", "err\n"))
        self.assertGreater(sum(ended.processor_micros), 0)

    def test_fails_with_its_own_words(self):
        with self.assertRaisesRegex(program.ProgramError, "ended with 3: no way"):
            program.run(python("import sys; print('no way', file=sys.stderr); sys.exit(3)"))

    def test_fails_when_it_is_not_there(self):
        with self.assertRaisesRegex(program.ProgramError, "no-such-program is not installed"):
            program.run(["no-such-program"])

    def test_runs_on_its_processor_with_its_environment(self):
        processor = min(os.sched_getaffinity(0))
        code = "import os; print(os.sched_getaffinity(0), os.environ['NAME'])"

        ended = program.run(python(code), processor, {"NAME": "value"})

        self.assertEqual(ended.output, f"{{{processor}}} value\n")


if __name__ == "__main__":
    unittest.main()
