"""Apache httpd as the server."""

import pytest

import connection_cases
import exchange_cases
import header_cases
import payload_cases
from apache import Apache
from content import content
from messages import request
from web_site import stored_body

PEERS = (Apache,)


@pytest.fixture(scope="module")
def site():
    with Apache() as server:
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
    """bodies that the message has packed in gzip and deflate; gzip unpacked by the server"""

    @pytest.mark.parametrize("size", ["1", "1m"])
    def test_packed_body_is_unpacked_by_the_server(self, site, chainhost, size):
        packed = {"Content-Encoding": "gzip"}

        (response,) = chainhost.run(
            site.port, request("/unpacked", "PUT", content(size), headers=packed)
        )

        assert stored_body(response) == content(size)


class TestConnections(connection_cases.ConnectionCases):
    SERVER = Apache
