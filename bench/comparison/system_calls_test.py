"""system_calls_test : summaries of strace, and what lies between two."""

import os
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from program import ProgramError
from system_calls import count, counts_in, steady_state, total_in

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

    def test_are_counted_by_perf_in_all(self):
        summary = "# started on Sun\n\n4056,,raw_syscalls:sys_enter,2042602,100.00,,\n"

        self.assertEqual(total_in(summary), 4056)
        with self.assertRaisesRegex(ProgramError, "no summary: <not supported>,,raw"):
            total_in("<not supported>,,raw_syscalls:sys_enter,0,100.00,,\n")

    def test_are_not_taken_from_a_text_without_any(self):
        with self.assertRaisesRegex(ProgramError, "no summary: ptrace: not permitted"):
            counts_in("ptrace: not permitted")

    def test_of_beginning_and_end_do_not_count(self):
        few = {"sendto": 100, "recvfrom": 210, "mmap": 50, "brk": 3}
        many = {"sendto": 1100, "recvfrom": 2210, "mmap": 50, "futex": 500}

        calls = steady_state(few, many, 1000)

        self.assertAlmostEqual(calls.per_request, 3.497)
        self.assertEqual(calls.by_name, (("recvfrom", 2.0), ("sendto", 1.0), ("futex", 0.5)))


class CountingTest(unittest.TestCase):
    """With stand-ins for the tools, which a container may have forbidden."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        path = {"PATH": self.folder + ":" + os.environ["PATH"]}
        self.enterContext(mock.patch.dict(os.environ, path))
        self.enterContext(mock.patch("program.pinned", lambda command, _: list(map(str, command))))

    # Its summary has `line`, with its calls for N requests in place of CALLS.
    def tool(self, name, line):
        file = Path(self.folder) / name
        text = f"""#!/bin/sh
while [ "$1" != -o ]; do shift; done
calls=$(($4 * 3 + 100))
sed "s/CALLS/$calls/" > "$2" << 'END'
{line}
END
"""
        file.write_text(text if line else "#!/bin/sh\necho forbidden >&2; exit 1\n")
        file.chmod(0o755)

    def counted(self):
        client = mock.Mock()
        client.command = lambda server, work, requests, warm_up: [str(requests)]
        return count(client, "server", (10, 30), None)

    def test_takes_the_number_from_perf_and_the_names_from_strace(self):
        self.tool("perf", "CALLS,,raw_syscalls:sys_enter,1,100.00,,")
        self.tool("strace", " 61.00 0.012345 6 CALLS sendto")

        calls = self.counted()

        self.assertEqual((calls.per_request, calls.counted_by), (3.0, "perf"))
        self.assertEqual(calls.by_name, (("sendto", 3.0),))

    def test_does_with_either(self):
        self.tool("perf", "CALLS,,raw_syscalls:sys_enter,1,100.00,,")
        self.tool("strace", None)
        self.assertEqual((self.counted().counted_by, self.counted().by_name), ("perf", ()))

        self.tool("perf", None)
        self.tool("strace", " 61.00 0.012345 6 CALLS sendto")
        self.assertEqual(self.counted().counted_by, "strace")

    def test_says_why_neither_counts(self):
        self.tool("perf", None)
        self.tool("strace", None)

        with self.assertRaisesRegex(ProgramError, "^strace: forbidden; perf: forbidden$"):
            self.counted()

    def test_says_what_is_not_installed(self):
        with mock.patch.dict(os.environ, {"PATH": self.folder}):
            with self.assertRaisesRegex(
                ProgramError, "^strace is not installed; perf is not installed$"
            ):
                self.counted()


if __name__ == "__main__":
    unittest.main()
