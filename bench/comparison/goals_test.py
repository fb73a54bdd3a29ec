"""goals_test : what is reached, from figures that are known."""

import unittest

import comparisons
import goals
from clients import LIFECYCLE, PLUGIN, POCO, SOCKET
from comparisons import CHAINHOST, SHORT
from runs import Runs
from system_calls import SystemCalls
from work import KIB


class GoalsTest(unittest.TestCase):
    def setUp(self):
        self.runs = Runs()

    def record(self, comparison, cell, **figures):
        """So much in each of two rounds, or a list with one figure a round."""
        for number in range(2):
            self.runs.record(
                comparison,
                cell,
                {
                    name: value[number] if isinstance(value, list) else value
                    for name, value in figures.items()
                },
            )

    def outcome(self, what):
        found = [each for each in goals.outcomes_of(self.runs, SHORT) if each.goal.what == what]
        self.assertEqual(len(found), 1, what)
        return found[0]

    def judged(self, what):
        outcome = self.outcome(what)
        return round(outcome.figure, 3), outcome.is_reached

    def test_without_runs_nothing_is_reached_and_each_says_why(self):
        for outcome in goals.outcomes_of(self.runs, SHORT):
            self.assertIsNone(outcome.is_reached, outcome.goal.what)
            self.assertTrue(outcome.reason, outcome.goal.what)

    def test_numbers_are_complete(self):
        self.assertEqual({goal.number for goal in goals.GOALS}, set(range(1, 13)))

    def test_rates_are_compared_within_the_round(self):
        comparison = comparisons.small_post(SHORT, 1)
        self.record(comparison, comparison.cell(PLUGIN), rate=[104, 212])
        self.record(comparison, comparison.cell(POCO), rate=[100, 200])

        self.assertEqual(self.judged("1 KiB POST, 1 client: rate over bare POCO"), (1.05, True))

    def test_the_least_that_will_do_is_a_least(self):
        comparison = comparisons.upload(100 * KIB)
        self.record(comparison, comparison.cell(PLUGIN), rate=399)
        self.record(comparison, comparison.cell(POCO), rate=100)
        self.record(comparison, comparison.cell(SOCKET), rate=570)

        self.assertEqual(self.judged("100 KiB POST: rate over bare POCO"), (3.99, False))
        self.assertEqual(self.judged("100 KiB POST: rate over sockets"), (0.7, True))

    def test_cpu_is_user_and_system_time_and_at_most_so_much(self):
        comparison = comparisons.small_post(SHORT)
        self.record(comparison, comparison.cell(PLUGIN), userMicros=10.0, systemMicros=4.0)
        self.record(comparison, comparison.cell(SOCKET), userMicros=1.0, systemMicros=9.0)

        self.assertEqual(
            self.judged("1 KiB POST, 8 clients: CPU per request over sockets"), (1.4, False)
        )

    def test_chainhost_is_held_against_the_plugin(self):
        comparison = comparisons.small_post(SHORT)
        self.record(comparison, comparison.cell(CHAINHOST), rate=81)
        self.record(comparison, comparison.cell(PLUGIN), rate=100)

        self.assertEqual(
            self.judged("chainhost, file to file: rate over the plugin's own"), (0.81, True)
        )

    def test_many_workers_are_held_against_one(self):
        comparison = comparisons.one_at_a_time(SHORT)
        for connections, user in ((1, 10.0), (SHORT.many, 14.0)):
            cell = comparison.cell(PLUGIN, connections=connections)
            self.record(comparison, cell, userMicros=user, systemMicros=0.0)

        self.assertEqual(
            self.judged("one request at a time: CPU with 128 workers over that with 1"),
            (1.4, False),
        )

    def test_a_worker_takes_what_one_more_adds(self):
        comparison = comparisons.idle(SHORT, True)
        for connections, kib in ((1, 1000.0), (SHORT.many, 1000.0 + 7 * 110)):
            cell = comparison.cell(LIFECYCLE, connections=connections)
            self.record(comparison, cell, residentKib=kib)

        self.assertEqual(self.judged("idle worker, TLS: resident memory"), (110.0, True))

    def test_keys_are_held_against_none(self):
        comparison = comparisons.keyed(SHORT, 1)
        self.record(comparison, comparison.cell(PLUGIN, keys=0), rate=100)
        self.record(comparison, comparison.cell(PLUGIN, keys=100), rate=89)

        self.assertEqual(
            self.judged("100 keys, 16 clients, delay 1 ms: rate over no keys"), (0.89, False)
        )

    def test_added_latency_is_the_difference_at_the_same_rate(self):
        what = "half of the peak rate: p99 over that of sockets"
        other, half = comparisons.paced_comparisons(1000, (0.1, 0.5))
        for comparison, added in ((other, 999.0), (half, 50.0)):
            self.record(comparison, comparison.cell(SOCKET), p99Micros=[100.0, 300.0])
            self.record(
                comparison, comparison.cell(PLUGIN), p99Micros=[100.0 + added, 320.0 + added]
            )

        self.assertEqual(self.judged(what), (60.0, True))

    def test_system_calls_are_counted_or_said_to_be_missing(self):
        self.runs.missing["system calls"] = "forbidden"
        self.assertEqual(self.outcome("system calls per small request").reason, "forbidden")

        self.runs.system_calls[PLUGIN] = SystemCalls(3.1, "perf", ())
        self.assertEqual(self.judged("system calls per small request"), (3.1, False))

    def test_limits_are_written_with_their_sense_and_unit(self):
        texts = {goal.limit_text() for goal in goals.GOALS}

        self.assertLessEqual({"≥ 1.05", "≤ 1.35", "≤ 40 KiB", "≤ 60 µs", "≥ 4"}, texts)


if __name__ == "__main__":
    unittest.main()
