"""sheet_test : runs as lines of CSV."""

import csv
import tempfile
import unittest
from pathlib import Path

import comparisons
from clients import PLUGIN
from comparisons import SHORT
from runs import Runs
from sheet import write_runs


class SheetTest(unittest.TestCase):
    def test_has_a_line_a_run(self):
        runs = Runs()
        comparison = comparisons.small_post(SHORT, tls=True)
        cell = comparison.cell(PLUGIN)
        runs.record(comparison, cell, {"rate": 1.5, "requests": 20, "p50Micros": None})
        runs.record(comparison, cell, {"rate": 2.5, "requests": 30})

        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "runs.csv"
            write_runs(file, runs)
            with open(file, encoding="utf-8", newline="") as lines:
                rows = list(csv.DictReader(lines))

        names = ("client", "connections", "tls", "round", "requests", "rate", "p50Micros")
        self.assertEqual(
            [[row[name] for name in names] for row in rows],
            [
                ["plugin", "8", "1", "1", "20", "1.5", ""],
                ["plugin", "8", "1", "2", "30", "2.5", ""],
            ],
        )


if __name__ == "__main__":
    unittest.main()
