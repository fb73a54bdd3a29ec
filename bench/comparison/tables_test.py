"""tables_test : rows of figures that are known."""

import unittest
from dataclasses import replace

import comparisons
from clients import LIFECYCLE, NOTHING, PLUGIN, POCO, SOCKET
from comparisons import SHORT, WRK, Cell, Comparison
from runs import Runs
from servers import NGINX
from table import ABSENT
from tables import client_table, tables_of
from work import Work

_FIGURES = {
    "rate": 1000.0,
    "userMicros": 10.0,
    "systemMicros": 5.5,
    "voluntarySwitches": 1.25,
    "involuntarySwitches": 0.5,
    "p50Micros": 50.0,
    "p90Micros": 90.0,
    "p99Micros": 99.0,
    "p999Micros": 999.0,
}


class TablesTest(unittest.TestCase):
    def setUp(self):
        self.runs = Runs()

    def test_a_client_is_a_row_and_what_is_missing_says_why(self):
        cells = tuple(Cell(NGINX, client, Work()) for client in (PLUGIN, POCO, WRK))
        comparison = Comparison("title", cells)
        self.runs.missing[WRK] = "wrk is not installed"
        self.runs.record(comparison, cells[0], _FIGURES)
        self.runs.record(comparison, cells[1], {**_FIGURES, "rate": 800.0, "p999Micros": None})

        rows = client_table(comparison, self.runs).rows

        self.assertEqual(
            rows[0],
            ("the plugin", "1,000", "1,000 to 1,000", "1.00", "15.5", "10.0", "5.5", "1.25", "0.50")
            + ("50", "90", "99", "999"),
        )
        self.assertEqual((rows[1][0], rows[1][3], rows[1][-1]), ("bare POCO", "1.25", ABSENT))
        self.assertEqual(
            rows[2], ("wrk (the server's ceiling): wrk is not installed", *[ABSENT] * 12)
        )

    def test_keys_are_held_against_what_order_allows(self):
        scale = replace(SHORT, keys=(0, 2, 100), delays_ms=(2,))
        comparison = comparisons.keyed(scale, 2)
        self.runs.record(comparison, comparison.cell(PLUGIN, keys=0), {"rate": 4000.0})
        self.runs.record(comparison, comparison.cell(PLUGIN, keys=2), {"rate": 1000.0})

        rows = tables_of("keys", self.runs, scale)[0].rows

        self.assertEqual(
            rows,
            (
                ("2", "none", "4,000", "1.00", "50%", ABSENT),
                ("2", "2", "1,000", "0.25", "100%", ABSENT),
                ("2", "100", ABSENT, ABSENT, ABSENT, ABSENT),
            ),
        )

    def test_latency_is_held_against_sockets_and_shows_how_busy_the_client_was(self):
        (half,) = comparisons.paced_comparisons(20_000, (0.5,))
        for client, p99 in ((PLUGIN, 120.0), (SOCKET, 100.0), (NOTHING, 30.0)):
            self.runs.record(half, half.cell(client), {**_FIGURES, "p99Micros": p99})

        rows = tables_of("latency", self.runs, SHORT)[0].rows

        shown = ("50% of the peak rate", "10,000", "the plugin", "50", "90", "120", "999")
        self.assertEqual(rows[0], (*shown, "20", "16%"))
        self.assertEqual([row[-2:] for row in rows[1:]], [(ABSENT, "16%")] * 2)

    def test_memory_tells_what_a_worker_adds(self):
        comparison = comparisons.idle(SHORT, False)
        for connections, kib in ((1, 1000.0), (SHORT.many, 1070.0)):
            cell = comparison.cell(LIFECYCLE, connections=connections)
            self.runs.record(comparison, cell, {"residentKib": kib})

        rows = tables_of("memory", self.runs, SHORT)[0].rows

        self.assertEqual(rows[0], ("plain", "1,000", "1,070", "10.0"))

    def test_each_group_has_tables_without_any_run(self):
        for group in comparisons.GROUPS:
            with self.subTest(group):
                tables = tables_of(group, self.runs, SHORT)
                self.assertTrue(tables)
                for table in tables:
                    self.assertTrue(all(len(row) == len(table.header) for row in table.rows))


if __name__ == "__main__":
    unittest.main()
