"""httpbin as the server: it tells what it has read of a request, field by field."""

import base64
import contextlib

import pytest

from content import content
from httpbin import Httpbin, seeded_bytes
from messages import request

PEERS = (Httpbin,)

TEXT = "Größe 5 µm, déjà vu, 日本語, \U0001f600"


@pytest.fixture(scope="module")
def site():
    with Httpbin() as server:
        yield server


def ask(site, chainhost, *messages, **config):
    """What httpbin has read of each request."""
    responses = chainhost.run(site.port, *messages, **config)
    assert [response.status for response in responses] == [200] * len(messages)
    return [response.json() for response in responses]


def as_told(body):
    """How httpbin tells a body."""
    with contextlib.suppress(UnicodeDecodeError):
        return body.decode("utf-8")
    return "data:application/octet-stream;base64," + base64.b64encode(body).decode("ascii")


class TestMethods:
    """methods GET, POST, PUT, PATCH, TRACE, DELETE and HEAD, with exactly the fields of each"""

    COMMON = {
        "Accept-Charset": "utf-8",
        "Accept-Encoding": "identity, gzip, deflate",
        "User-Agent": "Orvex/10.15 (amd64-win)",
    }

    @pytest.mark.parametrize("method", ["GET", "POST", "PUT", "PATCH"])
    def test_method_with_a_body_arrives_whole(self, site, chainhost, method):
        message = request("/anything/a", method, '{"a": 1}', contentType="application/json")

        (read,) = ask(site, chainhost, message)

        assert (read["method"], read["data"], read["json"]) == (method, '{"a": 1}', {"a": 1})
        assert read["url"] == f"http://{site.address}/anything/a"
        assert read["headers"] == self.COMMON | {
            "Accept": "application/json",
            "Content-Length": "8",
            "Content-Type": "application/json",
            "Host": site.address,
        }

    @pytest.mark.parametrize("method", ["DELETE", "TRACE"])
    def test_method_without_a_body_arrives_without_it(self, site, chainhost, method):
        (read,) = ask(site, chainhost, request("/anything", method, "dropped"))

        assert (read["method"], read["data"]) == (method, "")
        assert read["headers"] == self.COMMON | {"Host": site.address}

    def test_head_brings_a_head_only(self, site, chainhost):
        (head, get) = chainhost.run(
            site.port, request("/encoding/utf8", "HEAD"), request("/encoding/utf8")
        )

        assert (head.status, head.body) == (200, b"")
        assert int(head.headers["content-length"]) == len(get.body) > 0

    def test_every_status_arrives(self, site, chainhost):
        statuses = [200, 201, 202, 204, 400, 402, 404, 406, 418, 429, 500, 503]
        messages = [request(f"/status/{status}", "POST") for status in statuses]

        responses = chainhost.run(site.port, *messages)

        assert [response.status for response in responses] == statuses

    def test_unchanged_content_and_parts_of_it(self, site, chainhost):
        (unchanged, part) = chainhost.run(
            site.port,
            request("/etag/abc", headers={"If-None-Match": '"abc"'}),
            request("/range/100", headers={"Range": "bytes=10-19"}),
        )

        assert (unchanged.status, unchanged.body) == (304, b"")
        assert (part.status, part.body) == (206, b"klmnopqrst")


class TestTexts:
    """paths, queries and JSON in any characters"""

    def test_query_arrives_name_by_name(self, site, chainhost):
        query = {"a b": "c&d=e", "größe": TEXT, "leer": "", "plus": "1+1", "%41": "%42"}

        (read,) = ask(site, chainhost, request("/get", queryString=query))

        assert read["args"] == query

    def test_query_in_the_path_arrives_beside_it(self, site, chainhost):
        (read,) = ask(site, chainhost, request("/get?x=1&y=a%26b", queryString={"z": "2"}))

        assert read["args"] == {"x": "1", "y": "a&b", "z": "2"}

    def test_path_arrives(self, site, chainhost):
        (read,) = ask(site, chainhost, request("/anything/Größe 5 µm/日本"))

        assert read["url"] == f"http://{site.address}/anything/Größe%205%20µm/日本"

    def test_base_path_is_put_in_front(self, site, chainhost):
        (read,) = ask(site, chainhost, request("/b"), basePath="/anything/a")

        assert read["url"] == f"http://{site.address}/anything/a/b"

    def test_text_of_any_kind_arrives_and_comes_back(self, site, chainhost):
        encoded = base64.urlsafe_b64encode(TEXT.encode()).decode("ascii")

        (response, read) = chainhost.run(
            site.port,
            request(f"/base64/{encoded}"),
            request("/post", "POST", TEXT, contentType="text/plain", charset="utf8"),
        )

        assert (response.content_type, response.charset) == ("text/html", "utf-8")
        assert response.text() == TEXT
        assert read.json()["data"] == TEXT
        assert read.json()["headers"]["Content-Type"] == "text/plain;charset=utf-8"

    @pytest.mark.parametrize("charset", ["utf-8", "iso-8859-15", "shift_jis", "koi8-r"])
    def test_character_set_of_an_answer_is_told(self, site, chainhost, charset):
        query = {"Content-Type": f"text/plain; charset={charset.upper()}"}

        (response,) = chainhost.run(site.port, request("/response-headers", queryString=query))

        # The server adds this field to one of its own, so the header itself is not delivered.
        assert response.charset == charset


class TestForms:
    """forms and file uploads, field by field, in any characters"""

    FIELDS = {
        "plain": "value",
        "Größe in µm": TEXT,
        "a&b=c": "d&e=f",
        "leer": "",
        "lines": "one\r\ntwo",
        "plus+and blank": "1 + 1",
        "percent": "100%25",
    }

    @pytest.mark.parametrize("method", ["POST", "PUT"])
    def test_url_encoded_form_arrives(self, site, chainhost, method):
        (read,) = ask(site, chainhost, request("/anything", method, self.FIELDS))

        assert (read["form"], read["args"], read["data"]) == (self.FIELDS, {}, "")
        assert read["headers"]["Content-Type"] == "application/x-www-form-urlencoded"

    @pytest.mark.parametrize("method", ["POST", "PUT", "PATCH"])
    def test_multipart_form_arrives(self, site, chainhost, method):
        form = request("/anything", method, self.FIELDS, contentType="multipart/form-data")

        (read,) = ask(site, chainhost, form)

        assert (read["form"], read["args"], read["files"]) == (self.FIELDS, {}, {})

    def test_files_arrive_beside_fields(self, site, chainhost):
        pixels = bytes(range(256))
        form = request(
            "/post",
            "POST",
            {**self.FIELDS, "Grüße": TEXT.encode(), "picture": pixels, "empty": b""},
            contentType="multipart/form-data",
            form={
                "Grüße": {"filename": "Grüße.txt", "contentType": "text/plain", "charset": "utf-8"},
                "picture": {"filename": "dot.png", "contentType": "image/png"},
                "empty": {"filename": "empty"},
            },
        )

        (read,) = ask(site, chainhost, form)

        assert read["form"] == self.FIELDS
        assert read["files"] == {
            "Grüße": TEXT,
            "picture": "data:image/png;base64," + base64.b64encode(pixels).decode("ascii"),
            "empty": "",
        }

    @pytest.mark.parametrize("size", ["1m", pytest.param("64m", marks=pytest.mark.long)])
    def test_large_file_arrives(self, site, chainhost, size):
        form = request(
            "/post",
            "POST",
            {"file": content(size)},
            contentType="multipart/form-data",
            form={"file": {"filename": "f"}},
        )

        (read,) = ask(site, chainhost, form)

        assert read["files"] == {"file": as_told(content(size))}


class TestBodies:
    """bodies of 0 B, 1 B, 4 KiB, 1 MiB and 64 MiB sent; up to 100 KiB received, also in chunks"""

    @pytest.mark.parametrize(
        "size", ["1", "4k", "1m", pytest.param("64m", marks=pytest.mark.long)]
    )
    @pytest.mark.parametrize("headers", [{}, {"Transfer-Encoding": "chunked"}], ids=["", "chunked"])
    def test_body_arrives(self, site, chainhost, size, headers):
        body = content(size)

        (read,) = ask(site, chainhost, request("/post", "POST", body, headers=headers))

        assert read["data"] == as_told(body)
        assert ("Content-Length" in read["headers"]) != bool(headers)

    def test_empty_body_arrives_with_its_length(self, site, chainhost):
        (read,) = ask(site, chainhost, request("/post", "POST", ""))

        assert (read["data"], read["headers"]["Content-Length"]) == ("", "0")

    @pytest.mark.parametrize("size", [0, 1, 4096, 102_400])
    def test_answer_with_a_length_arrives(self, site, chainhost, size):
        (response,) = chainhost.run(site.port, request(f"/bytes/{size}?seed=7"))

        assert response.body == seeded_bytes(size, 7)
        assert response.headers["content-length"] == str(size)

    @pytest.mark.parametrize("chunk", [1, 1000, 65_536])
    def test_answer_in_chunks_arrives(self, site, chainhost, chunk):
        size = 20 * chunk if chunk < 1000 else 102_400
        path = f"/stream-bytes/{size}?seed=7&chunk_size={chunk}"

        (response, after) = chainhost.run(site.port, request(path), request("/bytes/9?seed=1"))

        assert response.headers["transfer-encoding"] == "chunked"
        assert response.body == seeded_bytes(size, 7)
        assert after.body == seeded_bytes(9, 1)

    def test_answer_amid_the_body_arrives(self, site, chainhost):
        # The server answers without having read the body, and resets the connection.
        unread = request("/status/418", "POST", "x" * (16 << 20), headers={"Connection": "close"})

        (response, after) = chainhost.run(site.port, unread, request("/bytes/9?seed=1"))

        assert (response.status, response.failed) == (418, False)
        assert after.body == seeded_bytes(9, 1)

    def test_picture_arrives(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/image/png"))

        assert response.content_type == "image/png"
        assert response.body.startswith(b"\x89PNG\r\n\x1a\n")
        assert response.body.endswith(b"IEND\xaeB`\x82")


class TestCodings:
    """answers in gzip and deflate; one in brotli is refused"""

    @pytest.mark.parametrize("coding", ["gzip", "deflate"])
    def test_answer_is_unpacked(self, site, chainhost, coding):
        (response,) = chainhost.run(site.port, request(f"/{coding}"))

        mark = {"gzip": "gzipped", "deflate": "deflated"}[coding]
        assert response.headers["content-encoding"] == coding
        assert response.json()[mark] is True

    def test_coding_that_is_not_known_is_told(self, site, chainhost):
        (response, after) = chainhost.run(
            site.port, request("/brotli"), request("/bytes/9?seed=1")
        )

        assert (response.status, response.body) == (200, b"Unsupported Media Type: br")
        assert after.body == seeded_bytes(9, 1)


class TestCookies:
    """cookies: set, sent back, taken back"""

    def test_cookies_come_back(self, site, chainhost):
        (given, seen, own, deleted, left) = chainhost.run(
            site.port,
            request("/cookies/set", queryString={"a": "1", "b": "zwei"}),
            request("/cookies"),
            request("/cookies", cookies={"b": "own", "c": "3"}),
            request("/cookies/delete?a="),
            request("/cookies"),
            followRedirects=False,
        )

        assert (given.status, given.cookies) == (302, {"a": "1", "b": "zwei"})
        assert seen.json()["cookies"] == {"a": "1", "b": "zwei"}
        assert own.json()["cookies"] == {"a": "1", "b": "own", "c": "3"}
        assert (deleted.status, deleted.cookies) == (302, {})
        assert left.json()["cookies"] == {"b": "zwei"}

    def test_without_a_jar_none_come_back(self, site, chainhost):
        (given, seen) = chainhost.run(
            site.port,
            request("/cookies/set", queryString={"a": "1"}),
            request("/cookies"),
            followRedirects=False,
            cookieJar=False,
        )

        assert given.cookies == {"a": "1"}
        assert seen.json()["cookies"] == {}


class TestRedirects:
    """redirects 301, 302, 303, 307 and 308, relative and absolute; nine of them, and one more"""

    @pytest.mark.parametrize("status", [301, 302, 303, 307, 308])
    def test_redirect_is_followed(self, site, chainhost, status):
        path = f"/redirect-to?url=/anything/landed&status_code={status}"

        (read,) = ask(site, chainhost, request(path, "POST", "parcel"))

        method = "POST" if status in (307, 308) else "GET"
        assert (read["method"], read["data"]) == (method, "parcel")
        assert read["url"] == f"http://{site.address}/anything/landed"

    @pytest.mark.parametrize("kind", ["redirect", "relative-redirect", "absolute-redirect"])
    def test_nine_are_followed_and_no_more(self, site, chainhost, kind):
        (nine, ten) = chainhost.run(
            site.port, request(f"/{kind}/9"), request(f"/{kind}/10")
        )

        assert (nine.status, nine.path) == (200, "/get")
        assert (ten.failed, ten.reason) == (True, "Maximum redirects exceeded")

    def test_redirect_is_passed_on(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/redirect/1"), followRedirects=False)

        assert (response.status, response.headers["location"]) == (302, "/get")


class TestAuthentication:
    """basic authentication, right and wrong; a token of the message"""

    BASIC = {"authenticationType": "HTTP_BASIC", "username": "gateway"}

    @pytest.mark.parametrize("password, status", [("sesame", 200), ("guessed", 401)])
    def test_password_decides(self, site, chainhost, password, status):
        (response,) = chainhost.run(
            site.port,
            request("/basic-auth/gateway/sesame"),
            authentication={**self.BASIC, "password": password},
        )

        assert (response.status, response.failed) == (status, False)

    def test_message_brings_its_own(self, site, chainhost):
        (right, none) = chainhost.run(
            site.port,
            request("/bearer", headers={"Authorization": "Bearer t0ken"}),
            request("/bearer"),
        )

        assert (right.status, right.json()["token"]) == (200, "t0ken")
        assert none.status == 401


class TestHeaders:
    """header fields, long and many, both ways; the server's own limits"""

    def test_many_headers_arrive(self, site, chainhost):
        headers = {f"X-Filler-{i}": str(i) for i in range(80)} | {"X-Long": "v" * 8000}

        (read,) = ask(site, chainhost, request("/headers", headers=headers))

        got = {name: value for name, value in read["headers"].items() if name.startswith("X-")}
        assert got == headers

    def test_many_headers_come_back(self, site, chainhost):
        query = {f"X-Many-{i}": f"{i}" for i in range(120)}

        (response,) = chainhost.run(
            site.port, *[request("/response-headers", "POST", queryString=query)]
        )

        got = {name: v for name, v in response.headers.items() if name.startswith("x-many-")}
        assert got == {name.lower(): value for name, value in query.items()}

    @pytest.mark.parametrize(
        "refused",
        [
            request("/headers", headers={"X-Long": "v" * 9000}),
            request("/headers", headers={f"X-Filler-{i}": "x" for i in range(150)}),
            request("/get?q=" + "v" * 5000),
        ],
        ids=["long field", "many fields", "long target"],
    )
    def test_refusal_is_a_status_and_the_next_request_succeeds(self, site, chainhost, refused):
        (response, after) = chainhost.run(site.port, refused, request("/bytes/9?seed=1"))

        assert (response.status // 100, response.failed) == (4, False)
        assert after.body == seeded_bytes(9, 1)


class TestSlowAnswers:
    """slow answers: within timeoutSecs, beyond it, and dripping"""

    def test_answer_within_the_time_out_arrives(self, site, chainhost):
        (read,) = ask(site, chainhost, request("/delay/1"), timeoutSecs=100)

        assert read["url"] == f"http://{site.address}/delay/1"

    def test_answer_beyond_the_time_out_is_a_failure(self, site, chainhost):
        (response, after) = chainhost.run(
            site.port, request("/delay/10"), request("/bytes/9?seed=1"), timeoutSecs=5
        )

        assert (response.failed, response.status, response.reason) == (True, 400, "Timeout")
        assert after.body == seeded_bytes(9, 1)

    def test_body_that_stands_still_beyond_the_time_out_is_a_failure(self, site, chainhost):
        (response, after) = chainhost.run(
            site.port,
            request("/drip?numbytes=2&duration=40"),
            request("/bytes/9?seed=1"),
            timeoutSecs=5,
        )

        assert (response.failed, response.status, response.reason) == (True, 400, "Timeout")
        assert after.body == seeded_bytes(9, 1)

    def test_dripping_body_arrives(self, site, chainhost):
        (response,) = chainhost.run(site.port, request("/drip?numbytes=20&duration=1"))

        assert (response.status, response.body) == (200, b"*" * 20)

    @pytest.mark.long
    def test_dripping_body_may_take_longer_than_the_time_out(self, site, chainhost):
        (response,) = chainhost.run(
            site.port, request("/drip?numbytes=150&duration=15"), timeoutSecs=10
        )

        assert (response.status, response.body) == (200, b"*" * 150)


class TestParallelRequests:
    """requests over 8 connections at once: each gets its own answer"""

    def test_each_request_gets_its_own_answer(self, site, chainhost):
        messages = [request(f"/anything/{i}", "POST", f"parcel {i}") for i in range(200)]

        reads = ask(site, chainhost, *messages, numClients=8)

        assert [read["data"] for read in reads] == [f"parcel {i}" for i in range(200)]
        assert [read["url"] for read in reads] == [
            f"http://{site.address}/anything/{i}" for i in range(200)
        ]
