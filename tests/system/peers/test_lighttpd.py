"""lighttpd as the server."""

import pytest

import connection_cases
from lighttpd import Lighttpd
from web_site_cases import *  # noqa: F403

PEERS = (Lighttpd,)

del TestSmallChunks  # noqa: F821 - lighttpd names the length of what it has whole at once


@pytest.fixture(scope="module")
def site():
    with Lighttpd() as server:
        yield server


class TestConnections(connection_cases.ConnectionCases):
    SERVER = Lighttpd
