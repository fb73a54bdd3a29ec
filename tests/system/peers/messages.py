"""messages : request messages as chainhost reads them, and its response messages."""

import base64
import itertools
import json
from dataclasses import dataclass

_ids = itertools.count(1)


def request(path, method="GET", body=None, **metadata):
    """A message with an id of its own. The body is text, bytes, or a form: a map from field name to
    text or bytes. Of what else is given, what a request is made of goes into "http"."""
    http = {"method": method, "path": path}
    http.update({key: metadata.pop(key) for key in _HTTP_KEYS if key in metadata})
    message = {"metadata": {"requestId": next(_ids), "http": http, **metadata}}
    if body is not None:
        message["payload"] = _payload(body)
    return message


_HTTP_KEYS = ("headers", "queryString", "cookies", "form")


def _payload(body):
    if isinstance(body, dict):
        return {name: _payload(value) for name, value in body.items()}
    if isinstance(body, bytes):
        return {"$base64": base64.b64encode(body).decode("ascii")}
    return body


@dataclass(frozen=True)
class Response:
    id: object
    status: int
    reason: str
    method: str
    path: str
    body: bytes
    headers: dict  # empty in a failure response
    cookies: dict
    content_type: str
    charset: str
    failed: bool  # a failure response; else the server's answer

    def text(self):
        return self.body.decode("utf-8")

    def json(self):
        return json.loads(self.body)


def parse_response(line):
    message = json.loads(line)
    if "error" in message:
        raise AssertionError(f"chainhost refused a line: {line}")
    metadata, payload = message["metadata"], message["payload"]
    http = metadata["http"]
    encoded = isinstance(payload, dict)
    return Response(
        id=metadata["requestId"],
        status=http["statusCode"],
        reason=http["statusReason"],
        method=http["method"],
        path=http["path"],
        body=base64.b64decode(payload["$base64"]) if encoded else payload.encode("utf-8"),
        headers=http.get("headers", {}),
        cookies=http.get("cookies", {}),
        content_type=metadata.get("contentType"),
        charset=metadata.get("charset"),
        failed="headers" not in http,
    )
