"""plots_test : what gnuplot is told."""

import unittest
from pathlib import Path

import comparisons
from clients import PLUGIN, POCO
from comparisons import SHORT
from plots import plots_of, script
from runs import Runs


class PlotsTest(unittest.TestCase):
    def test_shows_medians_and_quartiles_of_what_was_measured(self):
        runs = Runs()
        comparison = comparisons.small_post(SHORT)
        for rate in (1000.0, 2000.0, 4000.0):
            runs.record(comparison, comparison.cell(PLUGIN), {"rate": rate})
        runs.record(comparison, comparison.cell(POCO), {"rate": 10.0})

        plots = plots_of(runs, SHORT)
        text = script(plots[0], Path("/out/name.svg"))

        self.assertEqual([plot.file for plot in plots], ["connections-plain"])
        self.assertIn("set output '/out/name.svg'", text)
        self.assertIn("set xtics ('8' 0)", text)
        self.assertIn("$line0 << END\n0 1500 2000 3000\nEND\n", text)
        self.assertIn("title 'the plugin', $line1 using", text)
        self.assertNotIn("libcurl", text)

    def test_writes_percent_signs_that_are_no_format(self):
        runs = Runs()
        (comparison,) = comparisons.paced_comparisons(100, (0.5,))
        runs.record(comparison, comparison.cell(PLUGIN), {"p99Micros": 10.0})

        plots = plots_of(runs, SHORT)

        self.assertIn("set xtics ('50%%' 0)", script(plots[0], Path("/out/name.svg")))

    def test_shows_bodies_as_bytes_a_second(self):
        runs = Runs()
        comparison = comparisons.upload(100 * 1024)
        runs.record(comparison, comparison.cell(PLUGIN), {"rate": 10.0})

        plots = plots_of(runs, SHORT)

        self.assertEqual([plot.file for plot in plots], ["upload-plain"])
        self.assertEqual(plots[0].lines[0].points, ((0, 1024000.0, 1024000.0, 1024000.0),))


if __name__ == "__main__":
    unittest.main()
