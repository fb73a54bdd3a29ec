"""Squid between the plugin and nginx."""

import pytest

import proxy_cases
import waiting
from messages import request
from mute_server import MuteServer
from nginx import Nginx
from squid import Squid

PEERS = (Squid, Nginx)


@pytest.fixture(scope="module")
def site():
    with Nginx() as server:
        yield server


class TestPlain(proxy_cases.PlainCases):
    PROXY = Squid


class TestTunnels(proxy_cases.TunnelCases):
    PROXY = Squid


class TestItsOwnWays:
    """connections kept, users in its log, a body refused, a server that ends within its answer"""

    def test_connection_to_it_is_kept(self, site, chainhost):
        with Squid() as proxy:
            chainhost.run(
                site.port, *[request("/files/4k") for _ in range(20)], proxy=proxy.settings()
            )
            proxy.finished_passages(20)
            (clients, statuses) = (proxy.clients(), proxy.statuses())

        assert len(set(clients)) == 1
        assert statuses == [(200, "-")] * 20

    def test_it_knows_who_has_logged_in(self, site, chainhost):
        with Squid(login=True) as proxy:
            for settings in (
                proxy.settings_with_login(),
                proxy.settings_with_login(password="sesame"),
                proxy.settings(),
            ):
                chainhost.run(site.port, request("/files/1"), proxy=settings)
            proxy.finished_passages(3)
            statuses = proxy.statuses()

        assert statuses == [(200, "gateway"), (407, "gateway"), (407, "-")]

    # Behind a refused body of 64 KiB it answers nothing more on the connection, whoever asks.
    def test_refused_body_costs_the_next_request_nothing(self, site, chainhost):
        with Squid(login=True) as proxy:
            (refused, after) = chainhost.run(
                site.port,
                request("/upload", "POST", "x" * 4096),
                request("/files/1"),
                proxy=proxy.settings(),
            )
            passages = proxy.finished_passages(2)

        assert (refused.status, refused.failed) == (407, False)
        assert (after.status, after.failed) == (407, False)
        assert [one.method for one in passages] == ["POST", "GET"]  # not tried again

    def test_server_that_ends_without_an_answer_is_502(self, chainhost):
        with MuteServer() as server, Squid() as proxy:
            (response,) = chainhost.run(
                server.port, request("/files/1", "POST", "parcel"), proxy=proxy.settings()
            )

        assert (response.status, response.reason) == (502, "Bad Gateway")
        assert not response.failed

    def test_server_that_ends_within_its_answer_is_a_failure(self, chainhost):
        with Nginx() as server, Squid() as proxy:
            with chainhost.session(server.port, proxy=proxy.settings()) as session:
                slow = request("/slow")
                session.send(slow)
                waiting.until("the answer has begun", server.access_log)
                server.stop()
                (response,) = session.receive_all(slow)

        assert (response.failed, response.status) == (True, 400)
        assert response.reason == "Error processing response stream: I/O error"
