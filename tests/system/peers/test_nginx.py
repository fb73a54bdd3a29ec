"""nginx as the server."""

import pytest

import connection_cases
import waiting
from messages import request
from nginx import Nginx
from web_site_cases import *  # noqa: F403

PEERS = (Nginx,)


@pytest.fixture(scope="module")
def site():
    with Nginx() as server:
        yield server


class TestConnections(connection_cases.ConnectionCases):
    """connections: kept, limited to one request, closed when idle, lost in a restart or answer"""

    SERVER = Nginx

    def test_answer_that_the_server_cuts_is_a_failure(self, chainhost):
        with Nginx() as server, chainhost.session(server.port) as session:
            slow = request("/slow")
            session.send(slow)
            waiting.until("the answer has begun", server.access_log)
            server.stop()
            (response,) = session.receive_all(slow)

        assert (response.failed, response.status) == (True, 400)
        assert response.reason == "Error processing response stream: I/O error"
