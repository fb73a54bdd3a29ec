"""table_test : tables for the screen and for a page."""

import unittest

from table import ABSENT, Table, number_text


class TableTest(unittest.TestCase):
    def setUp(self):
        rows = (("a", "1,200", "yes"), ("bcd", ABSENT, "no"))
        self.table = Table("Things", ("name", "rate", "so"), rows)

    def test_on_the_screen_has_columns_with_numbers_to_the_right(self):
        self.assertEqual(
            self.table.text(),
            ["Things", "name   rate  so", "a     1,200  yes", "bcd       –  no"],
        )

    def test_on_a_page_tells_which_columns_are_numbers(self):
        self.assertEqual(
            self.table.markdown(),
            [
                "**Things**",
                "",
                "| name | rate | so |",
                "|---|---:|---|",
                "| a | 1,200 | yes |",
                "| bcd | – | no |",
            ],
        )

    def test_numbers_keep_their_digits_and_part_the_thousands(self):
        self.assertEqual(
            [number_text(1234567.891, 1), number_text(0.005, 2), number_text(None, 1)],
            ["1,234,567.9", "0.01", ABSENT],
        )


if __name__ == "__main__":
    unittest.main()
