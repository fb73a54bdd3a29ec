"""proxy_cases : what holds for every proxy, before an nginx without TLS and with it."""

import pytest

import certificates
import waiting
from content import content
from messages import request
from nginx import Nginx
from tls_nginx import TlsNginx
from web_site import stored_body

SIZES = ["0", "4k", "1m", pytest.param("64m", marks=pytest.mark.long)]

# What the server sees of the proxy. That must not keep it from packing its answers.
_SEEN = """
  gzip_proxied any;
  log_format seen '$http_proxy_authorization\\t$http_authorization\\t$http_via\\t$request';
  access_log seen.log seen;
"""
_TUNNEL_REFUSED = "HTTP Exception: Cannot establish proxy connection"


class Way:
    """A server to be reached through proxies, and the plugin's configuration for it."""

    def __init__(self, server, **settings):
        self.server = server
        self.settings = settings

    def seen(self, path):
        """Of each request for the path that has been logged: the logins at the proxy and at the
        server, what has passed it on, "-" for nothing; and its first line."""
        lines = self.server.log_lines("seen.log")
        return [line.split("\t") for line in lines if f"{path} " in line]

    # The server logs a request behind its answer.
    def first_seen(self, path):
        return waiting.until(f"the server logs {path}", lambda: self.seen(path))[0]


def plain_way():
    return Way(Nginx(_SEEN))


def tunnel_way():
    authority = certificates.Authority("peers root")
    server = TlsNginx(authority.identity(), _SEEN)
    return Way(server, **server.trust(authority.certificate()))


class _BothWaysCases:
    """For the plain way and for the tunnel: derived classes have the fixture `way`."""

    PROXY = None  # the class of the proxy

    @pytest.fixture(scope="class")
    def proxy(self):
        with self.PROXY() as peer:
            yield peer

    @pytest.fixture(scope="class")
    def guarded(self):
        with self.PROXY(login=True) as peer:
            yield peer

    def run(self, chainhost, way, proxy_settings, *messages, **config):
        return chainhost.run(
            way.server.port, *messages, proxy=proxy_settings, **way.settings, **config
        )

    @pytest.mark.parametrize("size", SIZES)
    def test_body_passes_both_ways(self, way, proxy, chainhost, size):
        (up, down) = self.run(
            chainhost,
            way,
            proxy.settings(),
            request("/upload", "POST", content(size)),
            request(f"/files/{size}"),
        )

        assert (up.status, stored_body(up)) == (200, content(size))
        assert (down.status, down.body) == (200, content(size))

    def test_answers_in_chunks_and_packed_pass(self, way, proxy, chainhost):
        responses = self.run(
            chainhost,
            way,
            proxy.settings(),
            request("/chunked/1m"),
            request("/gzip/4k"),
            request("/files/1"),
        )

        assert [one.body for one in responses] == [content(size) for size in ("1m", "4k", "1")]
        assert responses[1].headers["content-encoding"] == "gzip"

    # Its new session has to find the proxy, and to log in there.
    def test_redirect_is_followed_through_the_proxy(self, way, chainhost):
        with self.PROXY(login=True) as proxy:
            settings = proxy.settings_with_login()
            (response,) = self.run(chainhost, way, settings, request("/redirect/307"))
            passages = proxy.finished_passages(2)

        assert (response.status, response.body) == (200, b"taken")
        assert len(passages) == 2

    def test_answer_of_the_server_is_told_from_the_proxys(self, way, proxy, chainhost):
        (refused, away) = self.run(
            chainhost, way, proxy.settings(), request("/private/4k"), request("/status/503")
        )

        assert (refused.status, away.status, away.body) == (401, 503, b"status 503")

    def test_login_passes_the_proxy(self, way, guarded, chainhost):
        responses = self.run(
            chainhost,
            way,
            guarded.settings_with_login(),
            request("/files/4k"),
            request("/upload", "POST", "parcel"),
        )

        assert [response.status for response in responses] == [200, 200]
        assert stored_body(responses[1]) == b"parcel"

    def test_login_at_the_proxy_is_not_shown_to_the_server(self, way, guarded, chainhost):
        self.run(chainhost, way, guarded.settings_with_login(), request("/files/4k?login"))

        assert way.first_seen("/files/4k?login")[:2] == ["-", "-"]

    def test_logins_at_the_proxy_and_at_the_server_do_not_meet(self, way, guarded, chainhost):
        login = {"authenticationType": "HTTP_BASIC", "username": "gateway"}
        (right, wrong) = (
            self.run(
                chainhost,
                way,
                guarded.settings_with_login(),
                request("/private/4k"),
                authentication={**login, "password": password},
            )[0]
            for password in ("sesame: öffne dich", "sesame")
        )

        assert (right.status, right.body) == (200, content("4k"))
        assert wrong.status == 401

    def test_password_is_in_no_line_of_the_log(self, way, guarded, chainhost):
        self.run(
            chainhost,
            way,
            guarded.settings_with_login(password="open-barley"),
            request("/files/4k"),
        )

        log = "".join(chainhost.logs().values())
        assert "Connecting via proxy server" in log
        assert "open-barley" not in log
        assert "Proxy-Authorization" not in log

    def test_proxy_that_is_down_is_told_and_found_again(self, way, chainhost):
        with self.PROXY() as proxy:
            with chainhost.session(
                way.server.port, proxy=proxy.settings(), **way.settings
            ) as session:
                (before,) = session.exchange(request("/files/4k"))
                proxy.stop()
                (meanwhile,) = session.exchange(request("/files/4k"))
                proxy.start()
                (after,) = session.exchange(request("/files/4k"))

        assert before.body == after.body == content("4k")
        assert (meanwhile.failed, meanwhile.status) == (True, 400)
        assert meanwhile.reason == "Connection refused"


class PlainCases(_BothWaysCases):
    """http: whole addresses in the request line; bodies, redirects, logins; proxy or server down"""

    @pytest.fixture(scope="class")
    def way(self):
        way = plain_way()
        with way.server:
            yield way

    def test_proxy_gets_whole_addresses(self, way, chainhost):
        messages = [
            request("/files/4k"),
            request("/upload?a=%20b", "POST", "parcel"),
            request("/status/204", "DELETE"),
        ]
        with self.PROXY() as proxy:
            self.run(chainhost, way, proxy.settings(), *messages)
            passages = proxy.finished_passages(3)

        base = f"http://{way.server.address}"
        assert [(one.method, one.target) for one in passages] == [
            ("GET", f"{base}/files/4k"),
            ("POST", f"{base}/upload?a=%20b"),
            ("DELETE", f"{base}/status/204"),
        ]

    def test_server_sees_that_it_came_through_the_proxy(self, way, proxy, chainhost):
        self.run(chainhost, way, proxy.settings(), request("/files/1?via"))

        assert self.PROXY.NAME.lower() in way.first_seen("/files/1?via")[2]

    @pytest.mark.parametrize("login", ["none", "wrong"])
    def test_refused_login_is_the_proxys_status(self, way, chainhost, login):
        with self.PROXY(login=True) as proxy:
            settings = proxy.settings()
            if login == "wrong":
                settings = proxy.settings_with_login(password="sesame")
            (response, again) = self.run(
                chainhost, way, settings, request("/files/4k?no"), request("/files/1?no")
            )
            passages = proxy.finished_passages(2)

        wanted = self.PROXY.WITHOUT_LOGIN if login == "none" else self.PROXY.WRONG_LOGIN
        assert (response.status, response.reason, response.failed) == (*wanted, False)
        assert again.status == wanted[0]
        assert len(passages) == 2  # none of them twice
        assert way.seen("?no") == []

    def test_server_that_is_down_is_the_proxys_status(self, proxy, chainhost):
        with Nginx() as server, chainhost.session(server.port, proxy=proxy.settings()) as session:
            server.stop()
            (meanwhile,) = session.exchange(request("/files/4k"))
            server.start()
            (after,) = session.exchange(request("/files/4k"))

        assert (meanwhile.status, meanwhile.reason) == self.PROXY.SERVER_DOWN
        assert not meanwhile.failed
        assert after.body == content("4k")


class TunnelCases(_BothWaysCases):
    """https: tunnels (CONNECT), kept and lost; bodies, redirects, logins, certificates; refusals"""

    @pytest.fixture(scope="class")
    def way(self):
        way = tunnel_way()
        with way.server:
            yield way

    def test_one_tunnel_serves_all_requests(self, way, chainhost):
        with self.PROXY() as proxy:
            responses = self.run(
                chainhost, way, proxy.settings(), *[request("/files/4k") for _ in range(20)]
            )
            passages = proxy.finished_passages(1)

        assert all(response.body == content("4k") for response in responses)
        assert [(one.method, one.target) for one in passages] == [("CONNECT", way.server.address)]

    def test_server_sees_no_login_and_no_proxy(self, way, guarded, chainhost):
        self.run(chainhost, way, guarded.settings_with_login(), request("/files/1?none"))

        assert way.first_seen("/files/1?none") == ["-", "-", "-", "GET /files/1?none HTTP/1.1"]

    @pytest.mark.parametrize("login", ["none", "wrong"])
    def test_refused_login_is_a_failure_that_says_so(self, way, guarded, chainhost, login):
        settings = guarded.settings()
        if login == "wrong":
            settings = guarded.settings_with_login(password="sesame")

        (response,) = self.run(chainhost, way, settings, request("/upload?no", "POST", "parcel"))

        wanted = self.PROXY.WITHOUT_LOGIN if login == "none" else self.PROXY.WRONG_LOGIN
        assert (response.failed, response.status) == (True, 400)
        assert response.reason == f"{_TUNNEL_REFUSED}: {wanted[1]}"
        assert way.seen("?no") == []

    def test_server_that_is_down_is_a_failure_with_the_proxys_reason(self, proxy, chainhost):
        way = tunnel_way()
        with way.server:
            with chainhost.session(
                way.server.port, proxy=proxy.settings(), **way.settings
            ) as session:
                way.server.stop()
                (meanwhile,) = session.exchange(request("/files/4k"))
                way.server.start()
                (after,) = session.exchange(request("/files/4k"))

        assert (meanwhile.failed, meanwhile.status) == (True, 400)
        assert meanwhile.reason == f"{_TUNNEL_REFUSED}: {self.PROXY.SERVER_DOWN[1]}"
        assert after.body == content("4k")

    def test_unknown_certificate_behind_the_proxy_is_refused(self, way, proxy, chainhost):
        other = certificates.Authority("another root")
        settings = way.server.trust(other.certificate())

        (response,) = chainhost.run(
            way.server.port, request("/files/4k?unknown"), proxy=proxy.settings(), **settings
        )

        assert response.failed
        assert "certificate verify failed" in response.reason
        assert way.seen("?unknown") == []

    def test_lost_tunnel_is_built_again(self, way, chainhost):
        with self.PROXY() as proxy:
            with chainhost.session(
                way.server.port, proxy=proxy.settings(), **way.settings
            ) as session:
                session.exchange(request("/files/4k"))
                proxy.restart()
                (response,) = session.exchange(request("/files/4k"))
            passages = proxy.finished_passages(1)

        assert (response.status, response.body) == (200, content("4k"))
        assert {one.target for one in passages} == {way.server.address}
