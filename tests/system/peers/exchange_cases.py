"""exchange_cases : what holds for every web server that offers the site of web_site.py.

Derive from a class in the test file of a server whose fixture `site` is the running peer.
"""

import pytest

import web_site
from content import content
from messages import request
from web_site import stored_body

SIZES = ["0", "1", "4k", "1m", pytest.param("64m", marks=pytest.mark.long)]
LARGE_SIZES = SIZES[3:]
CODED_SIZES = SIZES[2:]  # servers do not pack what is short


class MethodCases:
    """methods: GET, PUT, POST, PATCH and OPTIONS with their bodies, HEAD and DELETE without"""

    METHODS = ("GET", "PUT", "POST", "PATCH", "OPTIONS")

    def test_method_and_body_arrive(self, site, chainhost):
        messages = [request("/upload", method, f"by {method}") for method in self.METHODS]

        responses = chainhost.run(site.port, *messages)

        for method, response in zip(self.METHODS, responses):
            assert (response.status, response.method) == (200, method)
            assert response.headers["x-method"] == method
            assert stored_body(response) == f"by {method}".encode()

    @pytest.mark.parametrize("method", ["HEAD", "DELETE"])
    def test_method_without_body_arrives_without_it(self, site, chainhost, method):
        (response, after) = chainhost.run(
            site.port, request("/upload", method, "dropped"), request("/upload", "POST", "kept")
        )

        assert (response.status, response.headers["x-method"]) == (200, method)
        assert stored_body(response) == b""
        assert stored_body(after) == b"kept"  # nothing of the first is left on the connection

    def test_head_tells_the_length_and_brings_no_body(self, site, chainhost):
        (head, get) = chainhost.run(
            site.port, request("/files/4k", "HEAD"), request("/files/4k", "GET")
        )

        assert (head.status, head.headers["content-length"], head.body) == (200, "4096", b"")
        assert get.body == content("4k")

    def test_status_arrives(self, site, chainhost):
        messages = [request(f"/status/{status}") for status in web_site.STATUSES]

        responses = chainhost.run(site.port, *messages)

        assert [response.status for response in responses] == list(web_site.STATUSES)
        assert not any(response.failed for response in responses)


class BodyCases:
    """bodies of 0 B, 1 B, 4 KiB, 1 MiB and 64 MiB, both ways; requests also in chunks"""

    @pytest.mark.parametrize("size", SIZES)
    def test_answer_with_a_length_arrives(self, site, chainhost, size):
        (response,) = chainhost.run(site.port, request(f"/files/{size}"))

        assert response.status == 200
        assert int(response.headers["content-length"]) == len(content(size))
        assert response.body == content(size)

    @pytest.mark.parametrize("method", ["PUT", "POST"])
    @pytest.mark.parametrize("size", SIZES)
    def test_request_with_a_length_arrives(self, site, chainhost, size, method):
        (response,) = chainhost.run(site.port, request("/upload", method, content(size)))

        assert response.status == 200
        assert stored_body(response) == content(size)

    @pytest.mark.parametrize("size", SIZES)
    def test_request_in_chunks_arrives(self, site, chainhost, size):
        chunked = {"Transfer-Encoding": "chunked"}

        (response, after) = chainhost.run(
            site.port,
            request("/upload", "POST", content(size), headers=chunked),
            request("/upload", "POST", "next"),
        )

        assert response.status == 200
        assert stored_body(response) == content(size)
        assert stored_body(after) == b"next"


class SmallChunkCases:
    """answers in chunks, of 1 B and 4 KiB"""

    @pytest.mark.parametrize("size", ["1", "4k"])
    def test_answer_in_chunks_arrives(self, site, chainhost, size):
        check_chunked_answer(site, chainhost, size)


class ChunkCases:
    """answers in chunks, of 1 MiB and 64 MiB"""

    @pytest.mark.parametrize("size", LARGE_SIZES)
    def test_answer_in_chunks_arrives(self, site, chainhost, size):
        check_chunked_answer(site, chainhost, size)


def check_chunked_answer(site, chainhost, size):
    (response, after) = chainhost.run(
        site.port, request(f"/chunked/{size}"), request("/files/1")
    )

    assert response.status == 200
    assert response.headers["transfer-encoding"] == "chunked"
    assert response.body == content(size)
    assert after.body == content("1")


class CodingCases:
    """answers in gzip and deflate, of 4 KiB to 64 MiB"""

    @pytest.mark.parametrize("size", CODED_SIZES)
    @pytest.mark.parametrize("coding", ["gzip", "deflate"])
    def test_coded_answer_is_unpacked(self, site, chainhost, coding, size):
        (response, after) = chainhost.run(
            site.port, request(f"/{coding}/{size}"), request("/files/1")
        )

        assert response.headers["content-encoding"] == coding
        assert response.body == content(size)
        assert after.body == content("1")

    def test_coding_that_the_message_refuses_is_not_used(self, site, chainhost):
        plain = {"Accept-Encoding": "identity"}

        (response,) = chainhost.run(site.port, request("/gzip/4k", headers=plain))

        assert "content-encoding" not in response.headers
        assert response.body == content("4k")


class CookieCases:
    """cookies: set, sent back, taken back, and left alone without a jar"""

    def test_cookies_come_back(self, site, chainhost):
        (before, first, seen, deleted, left) = chainhost.run(
            site.port,
            request("/upload", "POST"),
            request("/cookies/set"),
            request("/upload", "POST"),
            request("/cookies/delete"),
            request("/upload", "POST"),
        )

        assert "x-cookie" not in before.headers
        assert first.cookies == {"session": "c0ffee", "theme": "dark"}
        assert seen.headers["x-cookie"] == "session=c0ffee; theme=dark"
        assert deleted.cookies == {}
        assert left.headers["x-cookie"] == "theme=dark"

    def test_without_a_jar_only_those_of_the_message_are_sent(self, site, chainhost):
        (first, seen) = chainhost.run(
            site.port,
            request("/cookies/set"),
            request("/upload", "POST", cookies={"own": "1"}),
            cookieJar=False,
        )

        assert first.cookies == {"session": "c0ffee", "theme": "dark"}
        assert seen.headers["x-cookie"] == "own=1"

    def test_cookie_of_the_message_wins(self, site, chainhost):
        (_, seen) = chainhost.run(
            site.port,
            request("/cookies/set"),
            request("/upload", "POST", cookies={"session": "own"}),
        )

        assert seen.headers["x-cookie"] == "session=own; theme=dark"


class RedirectCases:
    """redirects 301, 302, 303, 307 and 308, followed and passed on; circles; other servers"""

    @pytest.mark.parametrize("status", web_site.REDIRECTS)
    def test_redirect_is_followed(self, site, chainhost, status):
        (response, after) = chainhost.run(
            site.port, request(f"/redirect/{status}", "POST", "parcel"), request("/files/1")
        )

        method = "POST" if status in (307, 308) else "GET"
        assert (response.status, response.method, response.path) == (200, method, "/upload/landed")
        assert response.headers["x-method"] == method
        assert stored_body(response) == b"parcel"
        assert after.body == content("1")

    @pytest.mark.parametrize("status", web_site.REDIRECTS)
    def test_redirect_is_passed_on(self, site, chainhost, status):
        (response,) = chainhost.run(
            site.port, request(f"/redirect/{status}"), followRedirects=False
        )

        assert (response.status, response.path) == (status, f"/redirect/{status}")
        assert response.headers["location"].endswith("/upload/landed")

    def test_circle_ends(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/circle"))

        assert (response.failed, response.reason) == (True, "Maximum redirects exceeded")

    def test_other_server_is_not_asked(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/elsewhere"))

        assert response.failed
        assert "it redirects to different host/port, from host 127.0.0.1 to 192.0.2.1" in (
            response.reason
        )


class AuthenticationCases:
    """basic authentication: right, wrong, none"""

    @pytest.mark.parametrize(
        "credentials, status",
        [
            ({"username": web_site.USER, "password": web_site.PASSWORD}, 200),
            ({"username": web_site.USER, "password": "guessed"}, 401),
            ({"username": "nobody", "password": web_site.PASSWORD}, 401),
        ],
        ids=["right", "wrong password", "wrong name"],
    )
    def test_credentials_decide(self, site, chainhost, credentials, status):
        (response,) = chainhost.run(
            site.port,
            request("/private/4k"),
            authentication={"authenticationType": "HTTP_BASIC", **credentials},
        )

        assert (response.status, response.failed) == (status, False)
        assert (response.body == content("4k")) == (status == 200)

    def test_without_credentials_the_server_asks_for_them(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/private/4k"))

        assert response.status == 401
        assert response.headers["www-authenticate"].lower().startswith("basic realm=")
