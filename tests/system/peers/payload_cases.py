"""payload_cases : uploaded files and packed bodies, at every web server that offers the site of
web_site.py. What the server has kept is read by other means than ours."""

import gzip
import io
import zlib

import pytest
from werkzeug.formparser import FormDataParser
from werkzeug.http import parse_options_header

from content import content
from messages import request
from web_site import stored_body

UNPACK = {"identity": bytes, "gzip": gzip.decompress, "deflate": zlib.decompress}


def read_form(body, content_type):
    """Fields and files of a multipart body."""
    media, options = parse_options_header(content_type)
    assert media == "multipart/form-data"
    parser = FormDataParser(silent=False)
    _, fields, files = parser.parse(io.BytesIO(body), media, len(body), options)
    return fields.to_dict(flat=False), files


class UploadCases:
    """uploads of files: names, content types and contents, in any characters, also packed"""

    FILES = {
        "picture": (bytes(range(256)), "dot.png", "image/png", None),
        "Grüße": ("Größe".encode(), "Grüße an 日本.txt", "text/plain", "utf-8"),
        "empty": (b"", "empty.bin", None, None),
        "large": (content("1m"), "a;b=c 'd'.bin", "application/x-large", None),
    }

    @pytest.mark.parametrize("coding", UNPACK)
    def test_files_arrive_with_names_and_types(self, site, chainhost, coding):
        form = request(
            "/upload",
            "POST",
            {"title": "Schöne Grüße", **{name: file[0] for name, file in self.FILES.items()}},
            contentType="multipart/form-data",
            form={name: self._description(*file) for name, file in self.FILES.items()},
            headers={"Content-Encoding": coding},
        )

        (response,) = chainhost.run(site.port, form)

        body = UNPACK[coding](stored_body(response))
        fields, files = read_form(body, response.headers["x-type"])
        assert fields == {"title": ["Schöne Grüße"]}
        assert sorted(files) == sorted(self.FILES)
        for name, (file, filename, media, charset) in self.FILES.items():
            wanted = f"{media or 'application/octet-stream'}"
            wanted += f"; charset={charset}" if charset else ""
            assert (files[name].filename, files[name].content_type) == (filename, wanted)
            assert files[name].read() == file

    def _description(self, _, filename, media, charset):
        texts = {"filename": filename, "contentType": media, "charset": charset}
        return {key: text for key, text in texts.items() if text}


class PackedBodyCases:
    """bodies that the message has packed in gzip and deflate"""

    @pytest.mark.parametrize("size", ["1", "1m", pytest.param("64m", marks=pytest.mark.long)])
    @pytest.mark.parametrize("coding", ["gzip", "deflate"])
    def test_packed_body_arrives(self, site, chainhost, coding, size):
        headers = {"Content-Encoding": coding}

        (response, after) = chainhost.run(
            site.port,
            request("/upload", "PUT", content(size), headers=headers),
            request("/upload", "PUT", "next"),
        )

        assert UNPACK[coding](stored_body(response)) == content(size)
        assert stored_body(after) == b"next"
