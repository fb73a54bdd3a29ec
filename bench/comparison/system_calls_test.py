"""system_calls_test : summaries of strace, and what lies between two."""

import unittest

from program import ProgramError
from system_calls import counts_in, steady_state

_SUMMARY = """\
% time     seconds  usecs/call     calls    errors syscall
------ ----------- ----------- --------- --------- ----------------
 61.00    0.012345           6      2000           sendto
 38.99    0.007890           3      2107        12 recvfrom
  0.01    0.000002           2         1           exit_group
------ ----------- ----------- --------- --------- ----------------
100.00    0.020237           4      4108        12 total
"""


class SystemCallsTest(unittest.TestCase):
    def test_are_counted_by_name_without_the_total(self):
        self.assertEqual(
            counts_in(_SUMMARY), {"sendto": 2000, "recvfrom": 2107, "exit_group": 1}
        )

    def test_are_not_taken_from_a_text_without_any(self):
        with self.assertRaisesRegex(ProgramError, "no summary: ptrace: not permitted"):
            counts_in("ptrace: not permitted")

    def test_of_beginning_and_end_do_not_count(self):
        few = {"sendto": 100, "recvfrom": 210, "mmap": 50, "brk": 3}
        many = {"sendto": 1100, "recvfrom": 2210, "mmap": 50, "futex": 500}

        calls = steady_state(few, many, 1000)

        self.assertAlmostEqual(calls.per_request, 3.497)
        self.assertEqual(calls.by_name, (("recvfrom", 2.0), ("sendto", 1.0), ("futex", 0.5)))


if __name__ == "__main__":
    unittest.main()
