"""page_test : the parts of a page."""

import unittest

from page import PageError, with_part

_PAGE = "before\n<!-- begin a -->\nold\n<!-- end a -->\nafter\n<!-- begin b -->\n<!-- end b -->\n"


class PageTest(unittest.TestCase):
    def test_gets_new_lines_between_the_markers_alone(self):
        self.assertEqual(
            with_part(_PAGE, "a", ["new \\1", "lines"]),
            "before\n<!-- begin a -->\n\nnew \\1\nlines\n\n<!-- end a -->\nafter\n"
            "<!-- begin b -->\n<!-- end b -->\n",
        )

    def test_is_the_same_when_it_is_written_again(self):
        once = with_part(_PAGE, "b", ["figures"])

        self.assertEqual(with_part(once, "b", ["figures"]), once)

    def test_without_the_part_is_refused(self):
        with self.assertRaisesRegex(PageError, "no part c in the page"):
            with_part(_PAGE, "c", [])

    def test_with_the_part_twice_is_refused(self):
        with self.assertRaises(PageError):
            with_part(_PAGE + _PAGE, "a", [])


if __name__ == "__main__":
    unittest.main()
