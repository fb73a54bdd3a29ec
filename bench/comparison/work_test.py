"""work_test : a work's words."""

import unittest

from work import KIB, MIB, Work, size_text


class WorkTest(unittest.TestCase):
    def test_gives_the_options_of_the_client(self):
        work = Work(
            connections=3, request_bytes=5, response_bytes=6, delay_ms=7, rate=8.25, keys=9
        )

        self.assertEqual(
            " ".join(work.words()),
            "--connections 3 --request-bytes 5 --response-bytes 6 --delay 7 --rate 8.2"
            " --under-way 0 --keys 9 --flush-every 0",
        )

    def test_asks_for_what_the_server_answers(self):
        self.assertEqual(Work(response_bytes=10, delay_ms=2).target, "/answer/10/2")

    def test_is_a_get_without_a_body(self):
        self.assertEqual((Work().method, Work(request_bytes=0).method), ("POST", "GET"))

    def test_is_told_by_what_it_does(self):
        self.assertEqual(str(Work()), "8 connections, POST 1 KiB, answer 1 KiB, plain")
        self.assertEqual(
            str(Work(1, 0, 100 * KIB, True, delay_ms=5, rate=10.4, under_way=1, keys=1)),
            "1 connection, GET 100 KiB, TLS, delay 5 ms, 10 requests/s, 1 under way, 1 key",
        )
        self.assertIn("2 keys, flush every 10", str(Work(keys=2, flush_every=10)))

    def test_writes_sizes_in_the_largest_whole_unit(self):
        self.assertEqual(
            [size_text(count) for count in (0, 1023, KIB, KIB + 1, 100 * KIB, MIB)],
            ["0 B", "1023 B", "1 KiB", "1025 B", "100 KiB", "1 MiB"],
        )


if __name__ == "__main__":
    unittest.main()
