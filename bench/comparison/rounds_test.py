"""rounds_test : the turns that clients take, and what is made of failures."""

import unittest

from clients import ClientError
from comparisons import Cell, Comparison
from rounds import Length, Rounds, requests_for
from runs import MissingError, Runs
from work import MIB, Work


class FakeClient:
    """Answers at a rate; fails from a run on."""

    def __init__(self, name, journal, rate=100.0, fails_from=None):
        self.name = name
        self._journal = journal
        self._rate = rate
        self._fails_from = fails_from
        self.turns = 0

    def run(self, server, work, requests, processor):
        self.turns += 1
        if self._fails_from is not None and self.turns >= self._fails_from:
            raise ClientError("1 request failed")
        self._journal.append((self.name, server, requests, processor))
        return {"rate": self._rate, "userMicros": 1.0, "systemMicros": 2.0}


def comparison_of(*clients, work=Work()):
    return Comparison("title", tuple(Cell("own", client, work) for client in clients))


class RoundsTest(unittest.TestCase):
    def setUp(self):
        self.journal = []
        self.runs = Runs()

    def measure(self, comparison, clients, length=Length(2, 3.0, 60)):
        by_name = {client.name: client for client in clients}
        Rounds(by_name, {"own": "server"}, length, 7, lambda line: None).measure(
            comparison, self.runs
        )

    def test_clients_take_turns_after_a_first_run_that_does_not_count(self):
        comparison = comparison_of("a", "b")
        clients = [FakeClient("a", self.journal), FakeClient("b", self.journal, 1000.0)]

        self.measure(comparison, clients)

        turns = [(name, requests) for name, _, requests, _ in self.journal]
        round_of_all = [("a", 300), ("b", 3000)]
        self.assertEqual(turns, [("a", 60), ("b", 60), *round_of_all, *round_of_all])
        self.assertEqual(self.journal[0][1::2], ("server", 7))
        self.assertEqual(self.runs.figures(comparison, comparison.cell("a"), "rate"), [100.0] * 2)

    def test_without_a_length_the_first_run_is_left_out(self):
        self.measure(comparison_of("a"), [FakeClient("a", self.journal)], Length(2, 0, 60))

        self.assertEqual([requests for _, _, requests, _ in self.journal], [60, 60])

    def test_a_steady_rate_tells_how_many_requests_there_are(self):
        comparison = comparison_of("a", work=Work(rate=50.0))

        self.measure(comparison, [FakeClient("a", self.journal)])

        self.assertEqual([requests for _, _, requests, _ in self.journal], [600, 600])

    def test_a_client_that_fails_has_no_more_turns(self):
        comparison = comparison_of("a", "b")
        clients = [FakeClient("a", self.journal, fails_from=2), FakeClient("b", self.journal)]

        self.measure(comparison, clients)

        self.assertEqual([name for name, *_ in self.journal], ["a", "b", "b", "b"])
        self.assertEqual(clients[0].turns, 2)
        self.assertEqual(self.runs.failures, ["a, title: 1 request failed"])
        with self.assertRaisesRegex(MissingError, "a: 1 request failed"):
            self.runs.figures(comparison, comparison.cell("a"), "rate")

    def test_what_is_missing_takes_no_part(self):
        comparison = comparison_of("a", "wrk")
        self.runs.missing["wrk"] = "wrk is not installed"

        self.measure(comparison, [FakeClient("a", self.journal)])

        self.assertEqual(self.runs.failures, [])
        with self.assertRaisesRegex(MissingError, "wrk is not installed"):
            self.runs.figures(comparison, comparison.cell("wrk"), "rate")

    def test_messages_of_a_run_fit_in_memory(self):
        self.assertEqual(requests_for(Work(), 10_000, 0.5), 5_000)
        self.assertEqual(requests_for(Work(), 1, 0.5), 50)
        self.assertEqual(requests_for(Work(), 1e9, 0.5), 100_000)
        self.assertEqual(requests_for(Work(rate=1e9), 1e9, 0.5), 52_428)
        self.assertEqual(requests_for(Work(request_bytes=MIB, rate=1e9), 1e9, 0.5), 255)


if __name__ == "__main__":
    unittest.main()
