"""tls_cases : what tests of TLS ask, whatever stands between the plugin and the server."""

from content import content
from messages import request

REFUSED = "SSL Exception: error:0A000086:SSL routines::certificate verify failed"


def is_served(chainhost, server, **config):
    """Runs a request: whether it got the server's answer. If not, it was the certificate that was
    refused, and the server has seen no request."""
    (response,) = chainhost.run(server.port, request("/files/4k"), **config)
    if response.failed:
        assert (response.status, response.reason) == (400, REFUSED)
        assert server.access_log() == []
        return False
    assert (response.status, response.body) == (200, content("4k"))
    return True
