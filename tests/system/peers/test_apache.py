"""Apache httpd as the server."""

import pytest

import connection_cases
import payload_cases
from apache import Apache
from content import content
from messages import request
from web_site import stored_body
from web_site_cases import *  # noqa: F403

PEERS = (Apache,)


@pytest.fixture(scope="module")
def site():
    with Apache() as server:
        yield server


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
