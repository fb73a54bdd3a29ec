"""What the cases about order stand on: the judgement of a log, and the server that writes it."""

import socket

import loopback
import waiting
from order_log import (
    Event,
    barrier_violations,
    key_violations,
    lost_or_repeated,
    most_at_once,
    order_message,
)
from order_server import OrderServer


def events(text, keys=None, barriers=()):
    """From words like "+0 -0": what begins and what ends; of one key if nothing else is said."""
    numbers = [(word[0] == "+", int(word[1:])) for word in text.split()]
    keys = keys or {}
    return [
        Event(begins, number, keys.get(number, "key"), number in barriers, 1)
        for begins, number in numbers
    ]


class TestLostOrRepeated:
    def test_each_once_is_well(self):
        assert lost_or_repeated(events("+1 +0 -0 -1"), 2) == []

    def test_request_that_never_came_is_found(self):
        assert lost_or_repeated(events("+0 -0"), 2) == ["1 began 0 times and ended 0 times"]

    def test_request_that_never_ended_is_found(self):
        assert lost_or_repeated(events("+0"), 1) == ["0 began 1 times and ended 0 times"]

    def test_second_attempt_is_found(self):
        assert lost_or_repeated(events("+0 -0 +0 -0"), 1) == ["0 began 2 times and ended 2 times"]

    def test_request_that_nobody_sent_is_found(self):
        assert lost_or_repeated(events("+0 -0 +1 -1"), 1) == ["1 began 1 times and ended 1 times"]

    def test_other_status_is_found(self):
        log = [*events("+0"), Event(False, 0, "key", False, 1, status=502)]

        assert lost_or_repeated(log, 1) == ["0 ended with status 502"]


class TestKeyViolations:
    def test_one_after_the_other_is_well(self):
        assert key_violations(events("+0 -0 +1 -1 +4 -4")) == []

    def test_two_at_once_are_found(self):
        assert key_violations(events("+0 +1 -0 -1")) == ["1 beside 0, both of key"]

    def test_later_one_first_is_found(self):
        assert key_violations(events("+1 -1 +0 -0")) == ["0 after 1, both of key"]

    def test_different_keys_and_none_are_free(self):
        keys = {0: "a", 1: "b", 2: None, 3: None}

        assert key_violations(events("+3 +2 +1 +0", keys)) == []


class TestBarrierViolations:
    def test_barrier_behind_all_former_ones_is_well(self):
        assert barrier_violations(events("+1 +0 -1 -0 +2 -2 +3 -3", barriers=[2])) == []

    def test_what_follows_may_run_beside_and_before_the_barriers_own_request(self):
        assert barrier_violations(events("+0 -0 +2 +1 -1 -2", barriers=[1])) == []

    def test_barrier_that_begins_too_early_is_found(self):
        assert barrier_violations(events("+0 +1 -0 -1", barriers=[1])) == ["1 passed the barrier 1"]

    def test_request_that_passes_is_found(self):
        assert barrier_violations(events("+0 +2 -0 -2 +1 -1", barriers=[1])) == [
            "2 passed the barrier 1"
        ]

    def test_neighbouring_barriers_are_told_apart(self):
        log = events("+0 -0 +1 +2 -1 -2 +3 -3", barriers=[1, 2, 3])

        assert barrier_violations(log) == ["2 passed the barrier 2"]

    def test_first_message_as_barrier_has_nothing_to_wait_for(self):
        assert barrier_violations(events("+1 -1 +0 -0", barriers=[0])) == []

    def test_request_that_never_ends_is_passed_by_all(self):
        assert barrier_violations(events("+0 +1 -1", barriers=[1])) == ["1 passed the barrier 1"]


class TestMostAtOnce:
    def test_it_is_the_peak(self):
        assert most_at_once(events("+0 +1 -0 +2 +3 -1 -2 -3")) == 3


class TestOrderServer:
    def test_line_tells_what_the_message_asked_for(self, chainhost):
        with OrderServer() as server:
            chainhost.run(
                server.port, order_message(0, "a"), order_message(1), order_message(2, "b", True)
            )
            server.finish()
            log = server.events()

        told = [(event.begins, event.number, event.key, event.barrier) for event in log]
        assert told == [
            *((begins, 0, "a", False) for begins in (True, False)),
            *((begins, 1, None, False) for begins in (True, False)),
            *((begins, 2, "b", True) for begins in (True, False)),
        ]

    def test_two_at_once_are_seen_at_once(self):
        with OrderServer() as server:
            with _sent(server, "/held/key/0"), _sent(server, "/held/key/1"):
                waiting.until("both are at the gate", lambda: server.gate.holds() == 2)
                server.gate.open()
                waiting.until("both are over", lambda: len(server.events()) == 4)
            log = server.events()

        assert most_at_once(log) == 2
        assert len(key_violations(log)) >= 1

    def test_request_that_does_not_await_the_answer_before_it_is_seen(self):
        with OrderServer() as server:
            with _sent(server, "/quick/key/0", "/quick/key/1"):
                waiting.until("both are over", lambda: len(server.events()) == 4)
            log = server.events()

        assert lost_or_repeated(log, 2) == ["1 had come before the former request was answered"]


def _sent(server, *targets):
    """A connection on which these requests have been sent at once."""
    connection = socket.create_connection((loopback.ADDRESS, server.port))
    heads = [f"GET {target} HTTP/1.1\r\nHost: a\r\n\r\n" for target in targets]
    connection.sendall("".join(heads).encode("ascii"))
    return connection
