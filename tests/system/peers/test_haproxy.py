"""HAProxy as the server, which passes everything on to nginx."""

import socket

import pytest

import connection_cases
import loopback
import waiting
from content import content
from haproxy import HAProxy
from messages import request
from nginx import Nginx
from web_site import stored_body
from web_site_cases import *  # noqa: F403

PEERS = (HAProxy, Nginx)


@pytest.fixture(scope="module")
def site():
    with HAProxy() as server:
        yield server


class TestConnections(connection_cases.ConnectionCases):
    SERVER = HAProxy


class TestServerBehind:
    """the server behind: down and back (503), silent (504), ended within its answer (a failure)"""

    def test_server_behind_that_is_down_is_503(self, chainhost):
        with HAProxy() as front, chainhost.session(front.port) as session:
            (before,) = session.exchange(request("/files/4k"))
            front.nginx.stop()
            (meanwhile,) = session.exchange(request("/upload", "POST", "parcel"))
            front.nginx.start()
            (after,) = session.exchange(request("/upload", "POST", "parcel"))

            assert stored_body(after) == b"parcel"
        assert before.body == content("4k")
        assert (meanwhile.status, meanwhile.failed) == (503, False)
        assert meanwhile.reason == "Service Unavailable"

    def test_server_behind_that_is_silent_is_504(self, chainhost):
        with socket.create_server((loopback.ADDRESS, 0)) as silent:
            with HAProxy(port_behind=silent.getsockname()[1], answer_secs=1) as front:
                (response,) = chainhost.run(front.port, request("/files/4k"))

        assert (response.status, response.failed) == (504, False)


    def test_server_behind_that_ends_within_its_answer_is_a_failure(self, chainhost):
        with HAProxy() as front, chainhost.session(front.port) as session:
            slow = request("/slow")
            session.send(slow)
            waiting.until("the answer has begun", front.nginx.access_log)
            front.nginx.stop()
            (response,) = session.receive_all(slow)

        assert (response.failed, response.status) == (True, 400)
        assert response.reason == "Error processing response stream: I/O error"


class TestLimits:
    """limits of its own: header fields too many (400), too long (400, 502)"""

    @pytest.fixture(scope="class")
    def narrow(self):
        with HAProxy(tuning="") as server:
            yield server

    @pytest.mark.parametrize(
        "message, status",
        [
            (request("/upload", headers={f"X-{i}": "x" for i in range(150)}), 400),
            (request("/upload", headers={"X-Long": "x" * 30_000}), 400),
            (request("/many"), 502),
            (request("/long"), 502),
        ],
        ids=["many sent", "long sent", "many received", "long received"],
    )
    def test_refusal_is_a_status_and_the_next_request_succeeds(
        self, narrow, chainhost, message, status
    ):
        (response, after) = chainhost.run(narrow.port, message, request("/files/1"))

        assert (response.status, response.failed) == (status, False)
        assert after.body == content("1")
