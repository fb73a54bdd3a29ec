"""Apache httpd as the server."""

import pytest

import connection_cases
import exchange_cases
import header_cases
from apache import Apache

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


class TestConnections(connection_cases.ConnectionCases):
    SERVER = Apache
