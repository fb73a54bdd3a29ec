"""Order of requests and barriers at nginx, whose log proves it (order_server.py says how)."""

import random

import pytest

import waiting
from order_log import (
    barrier_violations,
    beginnings,
    connections,
    key_violations,
    lost_or_repeated,
    most_at_once,
    order_message,
)
from order_server import OrderServer

PEERS = (OrderServer,)

PARALLEL = (4, 16)
CLIENTS = (1, *PARALLEL)
KEYS = (1, 2, 5, 10, 100)


@pytest.fixture
def server():
    with OrderServer() as server:
        yield server


class Runs:
    """Runs with each number of keys over each number of connections."""

    COUNT = None  # of requests in a run

    @pytest.mark.parametrize("clients", CLIENTS)
    @pytest.mark.parametrize("keys", KEYS)
    def test_keys_and_barriers_keep_their_order(self, chainhost, server, clients, keys):
        messages = list(_messages(self.COUNT, keys))

        with chainhost.session(server.port, log_level="WARN", numClients=clients) as session:
            responses = session.exchange(*messages)
        server.finish()
        events = server.events()

        assert _answered_wrongly(messages, responses) == []
        assert lost_or_repeated(events, self.COUNT) == []
        assert key_violations(events) == []
        assert barrier_violations(events) == []
        if clients == 1:
            assert beginnings(events) == list(range(self.COUNT))
            assert most_at_once(events) == 1


class TestRuns(Runs):
    """order of keys, barriers: 300 requests with 1 to 100 keys over 1 to 16 connections"""

    COUNT = 300


@pytest.mark.long
class TestLongRuns(Runs):
    """order of keys, barriers: 50,000 requests with 1 to 100 keys over 1 to 16 connections"""

    COUNT = 50_000


@pytest.mark.parametrize("clients", PARALLEL)
class TestMeetings:
    """requests that are under way at once, and requests that wait: for their key, at a barrier"""

    def test_requests_without_key_are_on_all_connections_at_once(self, chainhost, server, clients):
        messages = [order_message(number, folder="held") for number in range(2 * clients)]

        with chainhost.session(server.port, numClients=clients) as session:
            session.send(*messages)
            _until_held(server, clients)
            server.gate.open()
            session.receive_all(*messages)
        server.finish()
        events = server.events()

        assert lost_or_repeated(events, 2 * clients) == []
        assert [event.begins for event in events[: clients + 1]] == [True] * clients + [False]
        assert connections(events[:clients]) == clients
        assert most_at_once(events) == clients

    def test_requests_of_different_keys_are_under_way_at_once(self, chainhost, server, clients):
        # Two keys may share a worker; so many leave none without one, in every run alike.
        messages = [order_message(number, f"key{number}", folder="held") for number in range(100)]

        with chainhost.session(server.port, numClients=clients) as session:
            session.send(*messages)
            _until_held(server, clients)
            server.gate.open()
            session.receive_all(*messages)
        server.finish()
        events = server.events()

        assert lost_or_repeated(events, 100) == []
        assert len({event.key for event in events[:clients]}) == clients
        assert connections(events[:clients]) == clients

    def test_request_waits_for_its_key_while_others_without_pass(self, chainhost, server, clients):
        first = order_message(0, "key", folder="held")
        second = order_message(1, "key")
        others = [order_message(number) for number in range(2, 50)]

        with chainhost.session(server.port, numClients=clients) as session:
            session.send(first, second, *others)
            session.receive_all(*others)
            server.gate.open()
            session.receive_all(first, second)
        server.finish()
        events = server.events()

        assert lost_or_repeated(events, 50) == []
        assert beginnings(events)[-1] == 1
        assert key_violations(events) == []

    def test_barrier_waits_for_the_last_request_before_it(self, chainhost, server, clients):
        slow = order_message(0, folder="held")
        before = [order_message(number) for number in range(1, 50)]
        after = [order_message(number, barrier=number == 50) for number in range(50, 99)]

        with chainhost.session(server.port, numClients=clients) as session:
            session.send(slow, *before, *after)
            session.receive_all(*before)
            server.gate.open()
            session.receive_all(slow, *after)
        server.finish()
        events = server.events()

        assert lost_or_repeated(events, 99) == []
        assert sorted(beginnings(events)[:50]) == list(range(50))
        assert barrier_violations(events) == []

    def test_what_follows_a_barrier_does_not_wait_for_its_own_request(
        self, chainhost, server, clients
    ):
        before = order_message(0)
        barrier = order_message(1, barrier=True, folder="held")
        after = order_message(2, folder="held")

        with chainhost.session(server.port, numClients=clients) as session:
            session.send(before, barrier, after)
            _until_held(server, 2)
            server.gate.open()
            session.receive_all(before, barrier, after)
        server.finish()
        events = server.events()

        assert lost_or_repeated(events, 3) == []
        assert barrier_violations(events) == []
        assert sorted(beginnings(events)[1:]) == [1, 2]


def _messages(count, keys):
    """Nine in ten have one of the keys, by dice that fall alike each time. In the second half some
    are barriers: neighbours, near to each other, or up to a hundred requests apart."""
    dice = random.Random(f"{count} {keys}")
    barrier = count // 2
    for number in range(count):
        keyed = dice.randrange(10) > 0
        key = f"key{dice.randrange(keys)}" if keyed else None
        yield order_message(number, key, barrier=number == barrier)
        if number == barrier:
            barrier += 1 + dice.randrange(dice.choice((1, 10, 100)))


def _answered_wrongly(messages, responses):
    """Which of them got something else than the answer to their own request."""
    return [
        (message, response)
        for message, response in zip(messages, responses)
        if response.status != 200 or response.text() != message["metadata"]["http"]["path"]
    ]


def _until_held(server, count):
    waiting.until(f"{count} requests are at the gate", lambda: server.gate.holds() == count)
