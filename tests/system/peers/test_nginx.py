"""nginx as the server."""

import pytest

import connection_cases
import exchange_cases
import header_cases
import payload_cases
import waiting
from messages import request
from nginx import Nginx

PEERS = (Nginx,)


@pytest.fixture(scope="module")
def site():
    with Nginx() as server:
        yield server


class TestMethods(exchange_cases.MethodCases):
    pass


class TestBodies(exchange_cases.BodyCases):
    pass


class TestSmallChunks(exchange_cases.SmallChunkCases):
    pass


class TestChunks(exchange_cases.ChunkCases):
    pass


class TestCodings(exchange_cases.CodingCases):
    pass


class TestCookies(exchange_cases.CookieCases):
    pass


class TestRedirects(exchange_cases.RedirectCases):
    pass


class TestAuthentication(exchange_cases.AuthenticationCases):
    pass


class TestHeaders(header_cases.HeaderCases):
    pass


class TestCharsets(header_cases.CharsetCases):
    pass


class TestUploads(payload_cases.UploadCases):
    pass


class TestPackedBodies(payload_cases.PackedBodyCases):
    pass


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
