"""quartiles_test : medians, spreads and ratios."""

import unittest

from quartiles import Quartiles, quartiles_of, ratios_of


class QuartilesTest(unittest.TestCase):
    def test_are_figures_where_they_fall_on_one(self):
        self.assertEqual(quartiles_of([5, 1, 4, 2, 3]), Quartiles(2, 3, 4))

    def test_lie_between_neighbours_otherwise(self):
        self.assertEqual(quartiles_of([1, 2, 3, 4]), Quartiles(1.75, 2.5, 3.25))

    def test_of_one_figure_are_that_figure(self):
        self.assertEqual(quartiles_of([7]), Quartiles(7, 7, 7))

    def test_of_nothing_are_refused(self):
        with self.assertRaisesRegex(ValueError, "no figures"):
            quartiles_of([])

    def test_ratios_are_taken_round_by_round(self):
        # The third round was slow for both: of the medians alone the ratio would be 10 / 4.
        self.assertEqual(ratios_of([10, 20, 1], [5, 4, 1]), Quartiles(1.5, 2, 3.5))

    def test_ratios_need_the_same_rounds(self):
        with self.assertRaisesRegex(ValueError, "not the same rounds"):
            ratios_of([1, 2], [1])


if __name__ == "__main__":
    unittest.main()
