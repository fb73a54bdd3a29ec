#!/usr/bin/python3
"""examples_test : does what the manual's examples show, and compares byte by byte.

usage: examples_test.py CHAINHOST SOURCE-FOLDER

An example is a block "json request", the bytes that the server then gets ("http request"), the
bytes that it answers with ("http response") and the message that comes back ("json response"); the
last three may be left out.
"""

import contextlib
import json
import re
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
from pathlib import Path

CHAINHOST = SOURCES = None
WAIT_SECS = 60  # only ends a test that hangs
DEFAULT_RESPONSE = "HTTP/1.1 204 No Content\n"

_BLOCK = re.compile(r"^```(\w[^\n]*)\n(.*?)\n```$", re.DOTALL | re.MULTILINE)
_BOUNDARY = re.compile(rb"MIME_boundary_[0-9A-F]+")


def blocks(page):
    """Pairs of kind and text of the fenced blocks of a page that name their kind."""
    return _BLOCK.findall((SOURCES / "docs" / page).read_text(encoding="utf-8"))


def examples(page):
    """The examples of a page: maps from the kind of a block to its text."""
    found = []
    for kind, text in blocks(page):
        if kind == "json request":
            found.append({})
        if kind.split()[-1] in ("request", "response"):
            found[-1][kind] = text
    return found


def wire_bytes(text):
    """The head with CRLF at its lines' ends, and the body, which has them when it is multipart."""
    head, _, body = text.partition("\n\n")
    if "multipart/" in head:
        body = body.replace("\n", "\r\n") + "\r\n"
    return (head.rstrip("\n").replace("\n", "\r\n") + "\r\n\r\n" + body).encode()


def read_request(connection):
    """One request, whose length its head gives."""
    data = b""
    while b"\r\n\r\n" not in data:
        data += receive(connection)
    head, _, body = data.partition(b"\r\n\r\n")
    length = re.search(rb"content-length: *(\d+)", head, re.IGNORECASE)
    while length and len(body) < int(length.group(1)):
        body += receive(connection)
    return head + b"\r\n\r\n" + body


def receive(connection):
    data = connection.recv(65536)
    if not data:
        raise ConnectionError("closed inside the request")
    return data


class OneAnswer:
    """A server that keeps the bytes of one request and answers it."""

    def __init__(self, response):
        self.request = b""
        self._response = response
        self._socket = socket.create_server(("127.0.0.1", 0))
        self._socket.settimeout(WAIT_SECS)
        self.port = self._socket.getsockname()[1]
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _serve(self):
        with self._socket:
            try:
                connection, _ = self._socket.accept()
            except OSError:
                return  # nothing came
        with connection:
            connection.settimeout(WAIT_SECS)
            self.request = read_request(connection)
            connection.sendall(self._response)

    def join(self):
        """Ends the wait for a request that has not come, and waits for the end."""
        with contextlib.suppress(OSError):
            self._socket.shutdown(socket.SHUT_RDWR)
        self._thread.join(WAIT_SECS)


def run_chainhost(config, lines):
    """Output and log of a run with this configuration file's text."""
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder, "host.yaml")
        file.write_text(config, encoding="utf-8")
        return subprocess.run(
            [CHAINHOST, "run", "--config", str(file)],
            input=lines,
            capture_output=True,
            text=True,
            timeout=WAIT_SECS,
        )


class MessageExamplesTest(unittest.TestCase):
    def perform(self, example):
        """What the server got, and the message that came back."""
        server = OneAnswer(wire_bytes(example.get("http response", DEFAULT_RESPONSE)))
        config = f"config: {{host: 127.0.0.1, port: {server.port}}}\n"
        result = run_chainhost(config, example["json request"] + "\n")
        server.join()
        self.assertEqual(result.returncode, 0, result.stderr)
        got = server.request.replace(f"127.0.0.1:{server.port}".encode(), b"127.0.0.1:8080")
        return got, json.loads(result.stdout)

    def test_examples_are_what_happens(self):
        found = examples("messages.md")

        self.assertGreaterEqual(len(found), 2)
        for example in found:
            with self.subTest(request=example["json request"]):
                got, response = self.perform(example)
                if "http request" in example:
                    wanted = wire_bytes(example["http request"])
                    self.assertEqual(_BOUNDARY.sub(b"X", got), _BOUNDARY.sub(b"X", wanted))
                if "json response" in example:
                    self.assertEqual(response, json.loads(example["json response"]))


class ConfigurationExampleTest(unittest.TestCase):
    def test_example_is_accepted(self):
        (example,) = [text for kind, text in blocks("configuration.md") if kind == "yaml"]
        indented = "".join(f"  {line}\n" for line in example.splitlines())

        result = run_chainhost("config:\n" + indented, "")

        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Created 8 Client Session Threads", result.stderr)


if __name__ == "__main__":
    CHAINHOST, SOURCES = sys.argv[1], Path(sys.argv[2])
    unittest.main(argv=sys.argv[:1])
