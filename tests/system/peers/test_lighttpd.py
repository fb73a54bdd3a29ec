"""lighttpd as the server."""

import pytest

import connection_cases
import exchange_cases
import header_cases
import payload_cases
from lighttpd import Lighttpd

PEERS = (Lighttpd,)


@pytest.fixture(scope="module")
def site():
    with Lighttpd() as server:
        yield server


class TestMethods(exchange_cases.MethodCases):
    pass


class TestBodies(exchange_cases.BodyCases):
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
    SERVER = Lighttpd
