"""What the tests themselves stand on: peers that do not start, ports, runs that go wrong."""

import socket

import pytest

import loopback
from compatibility import Result, differences, page
from messages import request
from nginx import Nginx
from peer import Peer, PeerError


class Absent(Peer):
    NAME = "absent"

    def prepare(self):
        pass

    def command(self):
        return ["no-such-program"]


class TestPeer:
    def test_program_that_is_missing_fails_the_start(self):
        peer = Absent()
        with pytest.raises(PeerError, match="no-such-program"):
            peer.start()
        peer.close()

        assert not peer.folder.exists()

    def test_configuration_that_is_wrong_fails_the_start_with_the_reason(self):
        server = Nginx(directives="nonsense;")
        with pytest.raises(PeerError, match='unknown directive "nonsense"'):
            server.start()
        server.close()

    def test_ended_peer_refuses_and_comes_back_on_its_port(self):
        with Nginx() as server:
            port = server.port
            server.stop()
            refused = not loopback.accepts(port)
            server.start()

            assert (refused, server.port, loopback.accepts(port)) == (True, port, True)
        assert Peer.running == []


class TestReservedPort:
    def test_nobody_else_gets_it(self):
        port = loopback.ReservedPort()
        with socket.socket() as other, pytest.raises(OSError):
            other.bind((loopback.ADDRESS, port.number))
        port.close()


class TestSession:
    def test_response_that_nobody_asked_for_fails_the_run(self, chainhost):
        port = loopback.ReservedPort()
        with pytest.raises(AssertionError, match="more responses than requests"):
            with chainhost.session(port.number) as session:
                session.send(request("/a"), request("/b"))
                session.receive()
        port.close()

    def test_answer_of_another_request_fails_the_exchange(self, chainhost):
        port = loopback.ReservedPort()
        with pytest.raises(AssertionError, match="exactly once"):
            with chainhost.session(port.number) as session:
                session.send(request("/a"))
                session.receive_all(request("/b"))
        port.close()


class TestPage:
    def test_row_tells_the_number_of_cases_and_what_failed(self):
        text = page(
            [
                Result("nginx", "methods", "1.22", "a", True),
                Result("nginx", "methods", "1.22", "b", True),
                Result("squid", "a|b", "5.7", "c", False),
            ]
        )

        assert text.splitlines()[-2:] == [
            "| nginx | 1.22 | methods | 2 | passed |",
            "| squid | 5.7 | a/b | 1 | failed: c |",
        ]

    def test_page_of_all_cases_differs_in_nothing(self):
        text = page([Result("nginx", "methods", "1.22", case, True) for case in "ab"])

        assert differences(text, [("nginx", "methods"), (), ("nginx", "methods")]) == []

    def test_case_that_the_page_does_not_count_is_a_difference(self):
        text = page([Result("nginx", "methods", "1.22", "a", True)])

        assert differences(text, [("nginx", "methods")] * 2) == [
            "the page lacks: nginx | methods | 2 | passed",
            "the page has: nginx | methods | 1 | passed",
        ]

    def test_case_that_failed_is_a_difference(self):
        text = page([Result("nginx", "methods", "1.22", "a", False)])

        assert "the page has: nginx | methods | 1 | failed: a" in differences(
            text, [("nginx", "methods")]
        )
