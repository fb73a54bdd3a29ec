"""nginx with TLS, asked for by its address."""

import ssl

import pytest

import certificates
import loopback
from certificates import EXPIRED, NOT_YET_VALID, Authority, self_signed
from content import content
from messages import request
from nginx import Nginx
from tls_cases import REFUSED, is_served
from tls_nginx import TlsNginx
from web_site import PASSWORD, USER, stored_body

PEERS = (TlsNginx,)
ACCEPT_SWITCHES = ("tlsAcceptUnrecognizedCertificates", "acceptUnrecognizedCertificates")


@pytest.fixture(scope="module")
def authority():
    return Authority("peers root")


class TestTrust:
    """certificates: known, unknown, self-signed, expired, not yet valid; checked or accepted"""

    def test_server_of_a_known_authority_is_served(self, authority, chainhost):
        with TlsNginx(authority.identity()) as server:
            served = is_served(chainhost, server, **server.trust(authority.certificate()))
            server.finish()
            lines = server.tls_log()

        assert served
        assert [line.protocol for line in lines] == ["TLSv1.3"]

    def test_each_name_of_the_authority_file_serves(self, authority, chainhost):
        with TlsNginx(authority.identity()) as server:
            file = server.trust(authority.certificate())["tlsCertificateAuthorityFile"]

            assert is_served(chainhost, server, tls=True, certificateAuthorityPath=file)

    def test_one_authority_of_several_is_enough(self, authority, chainhost):
        other = Authority("another root")
        with TlsNginx(authority.identity()) as server:
            settings = server.trust(other.certificate(), authority.certificate())

            assert is_served(chainhost, server, **settings)

    def test_authorities_of_the_platform_count_beside_a_file(self, authority, chainhost):
        other = Authority("another root")
        with TlsNginx(authority.identity()) as server:
            file = server.trust(authority.certificate())["tlsCertificateAuthorityFile"]
            platform = {"SSL_CERT_FILE": file}

            assert is_served(chainhost, server, tls=True, environment=platform)
            settings = server.trust(other.certificate())
            assert is_served(chainhost, server, environment=platform, **settings)

    @pytest.mark.parametrize("size", ["0", "4k", "1m", pytest.param("64m", marks=pytest.mark.long)])
    def test_body_passes_both_ways(self, authority, chainhost, size):
        with TlsNginx(authority.identity()) as server:
            (up, down, chunked) = chainhost.run(
                server.port,
                request("/upload", "POST", content(size)),
                request(f"/files/{size}"),
                request(f"/chunked/{size}"),
                **server.trust(authority.certificate()),
            )
            stored = stored_body(up)
            server.finish()
            lines = server.access_log()

        assert (up.status, stored) == (200, content(size))
        assert down.body == chunked.body == content(size)
        assert [line.begins for line in lines] == [True, False, False]  # one connection

    def test_unknown_authority_is_refused(self, authority, chainhost):
        other = Authority("another root")
        with TlsNginx(authority.identity()) as server:
            assert not is_served(chainhost, server, **server.trust(other.certificate()))
            assert not is_served(chainhost, server, tls=True, environment={})  # the platform's only
            alerts = server.alerts()

        assert set(alerts) == {"unknown ca"}

    def test_another_authority_of_the_same_name_is_refused(self, authority, chainhost):
        namesake = Authority("peers root")
        with TlsNginx(authority.identity()) as server:
            assert not is_served(chainhost, server, **server.trust(namesake.certificate()))

    def test_self_signed_server_is_refused(self, chainhost):
        with TlsNginx(self_signed()) as server:
            assert not is_served(chainhost, server, tls=True)

    def test_self_signed_server_is_served_when_it_is_its_own_authority(self, chainhost):
        identity = self_signed()
        with TlsNginx(identity) as server:
            assert is_served(chainhost, server, **server.trust(identity.certificate()))

    @pytest.mark.parametrize("switch", ACCEPT_SWITCHES)
    def test_self_signed_server_is_served_with_the_accept_switch(self, chainhost, switch):
        with TlsNginx(self_signed()) as server:
            assert is_served(chainhost, server, tls=True, **{switch: True})

    @pytest.mark.parametrize(
        "validity, alert",
        [(EXPIRED, "certificate expired"), (NOT_YET_VALID, "bad certificate")],
        ids=["expired", "not yet valid"],
    )
    def test_certificate_outside_its_time_is_refused(self, authority, chainhost, validity, alert):
        with TlsNginx(authority.identity(validity=validity)) as server:
            settings = server.trust(authority.certificate())

            assert not is_served(chainhost, server, **settings)
            assert set(server.alerts()) == {alert}
            assert is_served(chainhost, server, **settings, **{ACCEPT_SWITCHES[0]: True})

    def test_refused_server_gets_nothing_of_the_request(self, authority, chainhost):
        other = Authority("another root")
        login = {"authenticationType": "HTTP_BASIC", "username": USER, "password": PASSWORD}
        with TlsNginx(authority.identity()) as server:
            with chainhost.session(
                server.port, authentication=login, **server.trust(other.certificate())
            ) as session:
                (response,) = session.exchange(request("/upload", "POST", "secret parcel"))
            server.finish()

            assert (response.failed, response.reason) == (True, REFUSED)
            assert (server.access_log(), server.tls_log()) == ([], [])
        assert PASSWORD not in session.log()


class TestChains:
    """an intermediate authority: sent by the server, missing, or in the file of authorities"""

    @pytest.fixture(scope="class")
    def intermediate(self, authority):
        return Authority("peers intermediate", authority)

    def test_chain_that_is_sent_whole_is_served(self, authority, intermediate, chainhost):
        identity = intermediate.identity().followed_by(intermediate)
        with TlsNginx(identity) as server:
            assert is_served(chainhost, server, **server.trust(authority.certificate()))

    def test_missing_intermediate_is_refused(self, authority, intermediate, chainhost):
        with TlsNginx(intermediate.identity()) as server:
            assert not is_served(chainhost, server, **server.trust(authority.certificate()))
            assert set(server.alerts()) == {"unknown ca"}

    def test_missing_intermediate_may_be_in_the_file(self, authority, intermediate, chainhost):
        with TlsNginx(intermediate.identity()) as server:
            settings = server.trust(authority.certificate(), intermediate.certificate())

            assert is_served(chainhost, server, **settings)

    def test_server_that_plays_the_authority_is_refused(self, authority, chainhost):
        forger = authority.identity("forger")
        identity = certificates.forged_by(forger, "forger").followed_by(forger)
        with TlsNginx(identity) as server:
            assert not is_served(chainhost, server, **server.trust(authority.certificate()))


class TestAddresses:
    """addresses: have to stand in the certificate as addresses; none is sent as a name"""

    def test_address_is_not_sent_as_a_name(self, authority, chainhost):
        with TlsNginx(authority.identity()) as server:
            assert is_served(chainhost, server, **server.trust(authority.certificate()))
            server.finish()
            lines = server.tls_log()

        assert [line.server_name for line in lines] == ["-"]

    @pytest.mark.parametrize(
        "text",
        [
            {"addresses": ["127.0.0.2"]},
            {"addresses": [], "names": ["127.0.0.1"]},
            {"addresses": [], "subject": "127.0.0.1"},
            {"addresses": [], "names": ["localhost"]},
        ],
        ids=["another address", "as a name", "in the subject only", "another name"],
    )
    def test_certificate_without_the_address_is_refused(self, authority, chainhost, text):
        with TlsNginx(authority.identity(**text)) as server:
            settings = server.trust(authority.certificate())

            assert not is_served(chainhost, server, **settings)
            assert set(server.alerts()) == {"bad certificate"}
            assert is_served(chainhost, server, **settings, **{ACCEPT_SWITCHES[0]: True})


class TestProtocols:
    """protocols, ciphers: TLS 1.2 and 1.3 alone, 1.1 alone (refused), ciphers outside the list"""

    # Below TLS 1.2 the library asks for this, too.
    WEAK = "ssl_ciphers ALL:@SECLEVEL=0;"

    @pytest.mark.parametrize("protocol", ["TLSv1.2", "TLSv1.3"])
    def test_protocol_alone_is_served(self, authority, chainhost, protocol):
        with TlsNginx(authority.identity(), protocols=protocol) as server:
            assert is_served(chainhost, server, **server.trust(authority.certificate()))
            server.finish()
            lines = server.tls_log()

        assert [line.protocol for line in lines] == [protocol]

    @pytest.mark.filterwarnings("ignore:ssl.TLSVersion.TLSv1_1 is deprecated")
    def test_only_older_protocol_is_refused(self, authority, chainhost):
        with TlsNginx(authority.identity(), self.WEAK, "TLSv1.1") as server:
            offered = _accepted(server, ssl.TLSVersion.TLSv1_1, "ALL:@SECLEVEL=0")
            (response,) = chainhost.run(
                server.port, request("/files/4k"), **server.trust(authority.certificate())
            )
            seen = server.access_log()

        assert offered == "TLSv1.1"
        assert (response.failed, response.status, seen) == (True, 400, [])
        assert response.reason.endswith(":tlsv1 alert protocol version")

    def test_only_ciphers_outside_the_list_are_refused(self, authority, chainhost):
        cipher = "ECDHE-ECDSA-AES128-SHA"
        with TlsNginx(authority.identity(), f"ssl_ciphers {cipher};", "TLSv1.2") as server:
            offered = _accepted(server, ssl.TLSVersion.TLSv1_2, cipher)
            (response,) = chainhost.run(
                server.port, request("/files/4k"), **server.trust(authority.certificate())
            )
            seen = server.access_log()

        assert offered == "TLSv1.2"
        assert (response.failed, response.status, seen) == (True, 400, [])
        assert response.reason.endswith(":sslv3 alert handshake failure")

    @pytest.mark.parametrize(
        "cipher", ["ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-CHACHA20-POLY1305"]
    )
    def test_only_one_cipher_of_the_list_is_served(self, authority, chainhost, cipher):
        with TlsNginx(authority.identity(), f"ssl_ciphers {cipher};", "TLSv1.2") as server:
            assert is_served(chainhost, server, **server.trust(authority.certificate()))
            server.finish()
            lines = server.tls_log()

        assert [line.cipher for line in lines] == [cipher]

    def test_server_without_tls_is_told_apart(self, chainhost):
        with Nginx() as server:
            (response,) = chainhost.run(server.port, request("/files/4k"), tls=True)

        assert (response.failed, response.status) == (True, 400)
        assert response.reason.endswith(":wrong version number")

    def test_server_with_tls_tells_a_client_without(self, authority, chainhost):
        with TlsNginx(authority.identity()) as server:
            (response,) = chainhost.run(server.port, request("/files/4k"))

        assert (response.status, response.failed) == (400, False)
        assert b"The plain HTTP request was sent to HTTPS port" in response.body


class TestChange:
    """the certificate changes between requests: renewed, unknown, of another host, expired"""

    @pytest.mark.parametrize("change", ["renewed", "unknown", "for another host", "expired"])
    def test_each_new_connection_is_verified(self, authority, chainhost, change):
        (identity, accepted) = {
            "renewed": (authority.identity(), True),
            "unknown": (Authority("another root").identity(), False),
            "for another host": (authority.identity(addresses=["127.0.0.2"]), False),
            "expired": (authority.identity(validity=EXPIRED), False),
        }[change]
        first = authority.identity()

        with TlsNginx(first) as server:
            with chainhost.session(server.port, **server.trust(authority.certificate())) as session:
                (before,) = session.exchange(request("/files/4k"))
                server.show(identity)
                assert _shown(server) == identity.certificate()
                (after,) = session.exchange(request("/upload", "POST", "parcel"))
                stored = stored_body(after) if accepted else b""
                server.show(first)
                (back,) = session.exchange(request("/files/4k"))
            server.finish()
            paths = [line.path for line in server.access_log()]

        assert before.body == back.body == content("4k")
        if accepted:
            assert (after.status, stored) == (200, b"parcel")
        else:
            assert (after.failed, after.reason) == (True, REFUSED)
        assert paths == ["/files/4k", *["/upload"] * accepted, "/files/4k"]


class TestRedirects:
    """a redirect: TLS goes on, verified and on a new connection; none from https to http"""

    @pytest.mark.parametrize("status", [301, 302, 303, 307, 308])
    def test_session_behind_a_redirect_is_verified(self, authority, chainhost, status):
        with TlsNginx(authority.identity()) as server:
            responses = chainhost.run(
                server.port,
                request(f"/redirect/{status}"),
                request("/files/1"),
                **server.trust(authority.certificate()),
            )
            server.finish()
            (lines, tls_lines) = (server.access_log(), server.tls_log())

        assert [response.status for response in responses] == [200, 200]
        assert [line.path for line in lines] == [
            f"/redirect/{status}",
            "/upload/landed",
            "/files/1",
        ]
        assert [line.begins for line in lines] == [True, True, False]
        assert {line.protocol for line in tls_lines} == {"TLSv1.3"}

    def test_certificate_is_verified_again_after_a_redirect(self, authority, chainhost):
        with TlsNginx(authority.identity()) as server:
            with chainhost.session(server.port, **server.trust(authority.certificate())) as session:
                (before,) = session.exchange(request("/redirect/307"))
                server.show(Authority("another root").identity())
                (after,) = session.exchange(request("/redirect/307"))
            server.finish()
            paths = [line.path for line in server.access_log()]

        assert before.status == 200
        assert (after.failed, after.reason) == (True, REFUSED)
        assert paths == ["/redirect/307", "/upload/landed"]

    def test_redirect_away_from_tls_is_not_followed(self, authority, chainhost):
        with Nginx() as plain:
            location = f"http://{plain.address}/files/4k"
            directives = f"error_page 404 = {location};"
            with TlsNginx(authority.identity(), directives) as server:
                (response,) = chainhost.run(
                    server.port, request("/nowhere"), **server.trust(authority.certificate())
                )
            plain.finish()
            seen = plain.access_log()

        assert (response.failed, response.status, seen) == (True, 400, [])
        assert "redirects to different schema, from https to http" in response.reason


# What Python's own client gets: the protocol that is spoken.
def _accepted(server, protocol, ciphers):
    context = _unverified()
    context.minimum_version = context.maximum_version = protocol
    context.set_ciphers(ciphers)
    with _connected(server, context) as connection:
        return connection.version()


def _shown(server):
    with _connected(server, _unverified()) as connection:
        return ssl.DER_cert_to_PEM_cert(connection.getpeercert(binary_form=True)).encode()


def _unverified():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname = False
    context.verify_mode = ssl.CERT_NONE
    return context


def _connected(server, context):
    return context.wrap_socket(loopback.connection(server.port))
