"""nginx with TLS, asked for by names. A proxy finds them: no machine has to know them."""

import pytest

from certificates import Authority
from squid import Squid
from tls_cases import is_served
from tls_nginx import TlsNginx

PEERS = (Squid, TlsNginx)
NAME = "server.test"


@pytest.fixture(scope="module")
def proxy():
    with Squid() as peer:
        yield peer


@pytest.fixture(scope="module")
def authority():
    return Authority("peers root")


def _asked_for(chainhost, proxy, authority, name, text, **config):
    """Whether a server with this certificate is served under the name, and by what it was called"""
    with TlsNginx(authority.identity(**{"addresses": (), **text})) as server:
        settings = {**server.trust(authority.certificate()), "host": name, **config}
        served = is_served(chainhost, server, proxy=proxy.settings(), **settings)
        server.finish()
        return served, {line.server_name for line in server.tls_log()}


class TestNames:
    """names: alternative, wildcard, in the subject only, of another host; the name that is sent"""

    @pytest.mark.parametrize(
        "name, text",
        [
            (NAME, {"names": [NAME]}),
            (NAME, {"names": ["other.test", NAME]}),
            (NAME, {"names": [NAME], "subject": "other.test"}),
            (NAME, {"names": ["SERVER.Test"]}),
            (NAME, {"subject": NAME}),
            ("deep.server.test", {"names": ["*.server.test"]}),
            ("deep.server.test", {"subject": "*.server.test"}),
        ],
        ids=[
            "alternative",
            "one of two",
            "alternative beside another subject",
            "in capitals",
            "subject only",
            "wildcard",
            "wildcard subject",
        ],
    )
    def test_certificate_with_the_name_is_served(self, proxy, authority, chainhost, name, text):
        assert _asked_for(chainhost, proxy, authority, name, text) == (True, {name})

    @pytest.mark.parametrize(
        "name, text",
        [
            (NAME, {"names": ["other.test"]}),
            (NAME, {"names": ["other.test"], "subject": NAME}),
            (NAME, {"subject": "other.test"}),
            (NAME, {"addresses": ["127.0.0.1"]}),
            (NAME, {"names": ["*.server.test"]}),
            (NAME, {"names": ["*.test"], "subject": "peer"}),
            ("deep.server.test", {"names": [NAME]}),
            ("very.deep.server.test", {"names": ["*.server.test"]}),
            ("deep.server.test", {"names": ["deep.*.test"]}),
        ],
        ids=[
            "another alternative",
            "another alternative, the name in the subject",
            "another subject",
            "the address",
            "wildcard below it",
            "wildcard of a whole domain",
            "the name above it",
            "wildcard two above it",
            "wildcard in the middle",
        ],
    )
    def test_certificate_without_the_name_is_refused(
        self, proxy, authority, chainhost, name, text
    ):
        assert _asked_for(chainhost, proxy, authority, name, text) == (False, set())

    def test_accept_switch_accepts_another_name_and_sends_the_right_one(
        self, proxy, authority, chainhost
    ):
        assert _asked_for(
            chainhost,
            proxy,
            authority,
            NAME,
            {"names": ["other.test"]},
            tlsAcceptUnrecognizedCertificates=True,
        ) == (True, {NAME})
