"""clients_test : what other programs print, as figures."""

import unittest
from pathlib import Path

import chainhost_client
import syslog_client
import wrk_client
from clients import ClientError, own_client, per_request
from program import Ended
from servers import Server
from work import Work

_WRK = """\
Running 1s test @ http://127.0.0.1:40123/answer/1024/0
  1 threads and 8 connections
  Thread Stats   Avg      Stdev     Max   +/- Stdev
    Latency   154.21us   98.33us   4.72ms   96.12%
    Req/Sec    41.02k     2.11k   44.01k    72.73%
  Latency Distribution
     50%  154.00us
     75%  260.00us
     90%    1.50ms
     99%    1.02s
  44901 requests in 1.10s, 49.90MB read
Requests/sec:  40702.55
Transfer/sec:     45.24MB
"""

_SUMMARY = (
    "chainhost: messages 3, responses 3 (1xx 0, 2xx 3, 3xx 0, 4xx 0, 5xx 0, other 0), errors 0,"
    " refused lines 0, seconds 0.001, requests per second 1174.8\n"
)


class OwnClientTest(unittest.TestCase):
    def test_is_told_where_to_ask_and_whom_to_trust(self):
        client, server = own_client("poco", Path("/bench")), Server(80, 443, "/ca.pem")

        plain = client.command(server, Work(), 10, 5)
        tls = client.command(server, Work(tls=True), 10, 5)

        self.assertEqual(
            [str(word) for word in plain[:9]],
            "/bench/compare_client --client poco --port 80 --requests 10 --warm-up 5".split(),
        )
        self.assertNotIn("--authority", plain)
        self.assertEqual(tls[3:5], ["--port", 443])
        self.assertEqual(tls[-2:], ["--authority", "/ca.pem"])


class WrkTest(unittest.TestCase):
    def test_tells_rate_and_latencies_in_microseconds(self):
        figures, requests = wrk_client.parse(_WRK)

        self.assertEqual(requests, 44901)
        self.assertEqual(
            figures,
            {"rate": 40702.55, "p50Micros": 154.0, "p90Micros": 1500.0, "p99Micros": 1020000.0},
        )

    def test_fails_when_requests_failed(self):
        for words in ("  Non-2xx or 3xx responses: 12\n", "  Socket errors: connect 1, read 0\n"):
            with self.subTest(words), self.assertRaises(ClientError):
                wrk_client.parse(_WRK + words)

    def test_fails_without_figures(self):
        with self.assertRaisesRegex(ClientError, "no figures: unable to connect"):
            wrk_client.parse("unable to connect")


class ChainhostTest(unittest.TestCase):
    def test_tells_its_rate(self):
        self.assertEqual(chainhost_client.rate_of("line\n" + _SUMMARY, 3), 1174.8)

    def test_fails_when_not_all_were_answered_as_wanted(self):
        for change in (("2xx 3", "2xx 2"), ("errors 0", "errors 1")):
            with self.subTest(change), self.assertRaises(ClientError):
                chainhost_client.rate_of(_SUMMARY.replace(*change), 3)

    def test_fails_without_a_summary(self):
        with self.assertRaisesRegex(ClientError, "no summary: killed"):
            chainhost_client.rate_of("killed", 3)


class SyslogTest(unittest.TestCase):
    def test_counts_what_its_destination_tells(self):
        answer = (
            "dst.http.server#0.http,http://127.0.0.1:1/answer/1024/0.dropped=0\n"
            "dst.http.server#0.http,http://127.0.0.1:1/answer/1024/0.written=500\n"
        )

        self.assertEqual(syslog_client.counts_in(answer), {"dropped": 0, "written": 500})

    def test_counts_nothing_before_it_answers(self):
        self.assertEqual(syslog_client.counts_in("Error connecting control socket\n"), {})


class ProgramTest(unittest.TestCase):
    def test_spreads_its_cost_over_its_requests(self):
        self.assertEqual(
            per_request(Ended("", "", (3000.0, 1000.0), (20, 10)), 10),
            {
                "userMicros": 300.0,
                "systemMicros": 100.0,
                "voluntarySwitches": 2.0,
                "involuntarySwitches": 1.0,
            },
        )


if __name__ == "__main__":
    unittest.main()
