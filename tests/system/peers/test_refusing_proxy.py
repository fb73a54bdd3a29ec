"""A proxy that passes nothing on: what it says is told, and nothing waits for it."""

import pytest

import waiting
from messages import request
from refusing_proxy import STATUSES, RefusingProxy

PEERS = (RefusingProxy,)


@pytest.fixture
def proxy():
    with RefusingProxy() as peer:
        yield peer


class TestRefusals:
    """407, 429, 502, 503 and 504: a status for http, a failure with the reason for https"""

    @pytest.mark.parametrize("status", STATUSES)
    def test_refusal_of_a_request_is_its_status(self, proxy, chainhost, status):
        (first, second) = chainhost.run(
            status, request("/a"), request("/b", "POST", "parcel"), proxy=proxy.settings()
        )
        lines = waiting.until("both are logged", lambda: len(proxy.answered()) >= 2) and (
            proxy.answered()
        )

        for response in (first, second):
            assert (response.status, response.reason) == (status, STATUSES[status])
            assert (response.failed, response.text()) == (False, f"no {status}")
        base = f"http://127.0.0.1:{status}"
        assert lines == [
            ("GET", f"{base}/a", str(status), "1"),
            ("POST", f"{base}/b", str(status), "0"),
        ]

    @pytest.mark.parametrize("status", STATUSES)
    def test_refusal_of_a_tunnel_is_a_failure_with_the_reason(self, proxy, chainhost, status):
        (first, second) = chainhost.run(
            status, request("/a"), request("/b", "POST", "p"), proxy=proxy.settings(), tls=True
        )
        waiting.until("they are logged", lambda: len(proxy.answered()) >= 2)
        lines = proxy.answered()

        for response in (first, second):
            assert (response.failed, response.status, response.body != b"") == (True, 400, True)
            assert response.reason == (
                f"HTTP Exception: Cannot establish proxy connection: {STATUSES[status]}"
            )
        assert {line[:3] for line in lines} == {("CONNECT", f"127.0.0.1:{status}", str(status))}
