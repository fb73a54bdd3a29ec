"""connection_cases : connections that are kept, limited, closed and lost, at every web server that
offers the site of web_site.py."""

import pytest

import loopback
import waiting
from content import content
from messages import request
from web_site import stored_body

# How a request may end that was under way, or on its way, when its server ended.
LOSSES = (
    "Connection refused",
    "Connection reset by peer",
    "Error processing response stream: I/O error",
    "I/O error: Broken pipe",
    "No message received",
    "Software caused connection abort",
)
RETRY = "will retry once"


class ConnectionCases:
    """connections: kept, limited to one request, closed when idle, lost in a restart"""

    SERVER = None  # the class of the peer

    def test_connection_is_kept(self, chainhost):
        with self.SERVER() as server:
            responses = chainhost.run(server.port, *[request("/files/4k") for _ in range(50)])
            server.finish()
            lines = server.access_log()

        assert all(response.body == content("4k") for response in responses)
        assert [line.begins for line in lines] == [True] + [False] * 49

    @pytest.mark.parametrize("clients", [1, 4])
    def test_connection_for_one_request_costs_no_request(self, chainhost, clients):
        messages = [request("/upload", "POST", f"parcel {i}") for i in range(50)]

        with self.SERVER(requests_max=1) as server:
            with chainhost.session(server.port, numClients=clients) as session:
                responses = session.exchange(*messages)
            bodies = [stored_body(response) for response in responses]
            server.finish()
            lines = server.access_log()

        assert bodies == [f"parcel {i}".encode() for i in range(50)]
        assert [line.status for line in lines] == [200] * 50  # none of them twice
        assert all(line.begins for line in lines)
        assert RETRY not in session.log()

    def test_connection_that_was_closed_when_idle_costs_no_request(self, chainhost):
        with self.SERVER(idle_secs=1) as server:
            with chainhost.session(server.port) as session:
                session.exchange(request("/upload", "POST", "first"))
                waiting.until(
                    "the server closes the idle connection",
                    lambda: loopback.closed_by_server(server.port),
                )
                (response,) = session.exchange(request("/upload", "POST", "second"))
            body = stored_body(response)
            server.finish()
            lines = server.access_log()

        assert (response.status, body) == (200, b"second")
        assert [(line.method, line.begins) for line in lines] == [("POST", True)] * 2

    def test_server_that_is_down_is_told_and_found_again(self, chainhost):
        with self.SERVER() as server, chainhost.session(server.port) as session:
            (before,) = session.exchange(request("/files/4k"))
            server.stop()
            (meanwhile,) = session.exchange(request("/files/4k"))
            server.start()
            (after,) = session.exchange(request("/files/4k"))

        assert before.body == after.body == content("4k")
        assert (meanwhile.failed, meanwhile.status) == (True, 400)
        assert meanwhile.reason == "Connection refused"

    def test_restart_amid_requests_costs_no_answer(self, chainhost):
        messages = [request("/files/1m") for _ in range(200)]

        with self.SERVER() as server:
            with chainhost.session(server.port, numClients=4) as session:
                session.send(*messages)
                first = [session.receive() for _ in range(20)]
                server.restart()
                rest = [session.receive() for _ in range(180)]
                (after,) = session.exchange(request("/files/1m"))

        responses = first + rest
        assert sorted(response.id for response in responses) == sorted(
            message["metadata"]["requestId"] for message in messages
        )
        for response in [*responses, after]:
            if response.failed:
                assert response.reason in LOSSES
            else:
                assert (response.status, response.body) == (200, content("1m"))
        assert not after.failed
