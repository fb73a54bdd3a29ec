"""header_cases : header fields, their number and length, and character sets, at every web server
that offers the site of web_site.py."""

import pytest

import web_site
from content import content
from messages import request
from web_site import stored_body


class HeaderCases:
    """long header lines, many headers, both ways; the server's own limits"""

    MANY = 90  # how many the server takes besides those of every request
    LONG = 30_000  # how long a line it takes
    TOO_LONG = 300_000
    TOO_LONG_STATUSES = (400, 431)

    def test_long_request_header_arrives(self, site, chainhost):
        value = "v" * self.LONG

        (response,) = chainhost.run(
            site.port, request("/upload", "POST", "x", headers={"X-Echo": value})
        )

        assert (response.status, response.headers["x-echo"]) == (200, value)

    def test_many_request_headers_arrive(self, site, chainhost):
        headers = {f"X-Filler-{i}": str(i) for i in range(self.MANY)} | {"X-Echo": "last"}

        (response,) = chainhost.run(site.port, request("/upload", "POST", "x", headers=headers))

        assert (response.status, response.headers["x-echo"]) == (200, "last")

    def test_header_in_latin_1_comes_back(self, site, chainhost):
        (response,) = chainhost.run(
            site.port, request("/upload", "POST", "x", headers={"X-Echo": "Größe déjà vu"})
        )

        assert response.headers["x-echo"] == "Größe déjà vu"

    def test_long_response_header_arrives(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/long"))

        assert (response.status, response.headers["x-long"]) == (200, "x" * web_site.LONG)

    def test_many_response_headers_arrive(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/many"))

        got = {name: v for name, v in response.headers.items() if name.startswith("x-many-")}
        assert got == {f"x-many-{i}": str(i) for i in range(web_site.MANY)}

    def test_refused_header_is_a_status_of_the_server(self, site, chainhost):
        (response, after) = chainhost.run(
            site.port,
            request("/upload", "POST", "x", headers={"X-Echo": "v" * self.TOO_LONG}),
            request("/files/1"),
        )

        assert (response.status in self.TOO_LONG_STATUSES, response.failed) == (True, False)
        assert after.body == content("1")

    @pytest.mark.parametrize("size", ["1m", pytest.param("64m", marks=pytest.mark.long)])
    def test_refused_body_is_a_status_of_the_server(self, site, chainhost, size):
        (response, after) = chainhost.run(
            site.port, request("/limited", "POST", content(size)), request("/files/1")
        )

        assert (response.status, response.failed) == (413, False)
        assert after.body == content("1")


class CharsetCases:
    """character sets: bytes unchanged, contentType and charset told both ways"""

    def test_answer_keeps_its_bytes_and_tells_its_charset(self, site, chainhost):
        messages = [request(f"/charset/{charset}") for charset in web_site.CHARSETS]

        responses = chainhost.run(site.port, *messages)

        for charset, response in zip(web_site.CHARSETS, responses):
            assert (response.content_type, response.charset) == ("text/plain", charset)
            assert response.body.decode(charset) == web_site.CHARSET_TEXT

    def test_request_keeps_its_bytes_and_tells_its_charset(self, site, chainhost):
        bodies = [web_site.CHARSET_TEXT.encode(charset) for charset in web_site.CHARSETS]
        messages = [
            request("/upload", "POST", body, contentType="Text/Plain", charset=charset.upper())
            for charset, body in zip(web_site.CHARSETS, bodies)
        ]

        responses = chainhost.run(site.port, *messages)

        for charset, body, response in zip(web_site.CHARSETS, bodies, responses):
            assert response.headers["x-type"] == f"text/plain;charset={charset}"
            assert stored_body(response) == body
