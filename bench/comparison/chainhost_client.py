"""chainhost_client : chainhost, lines from a file to lines in a file."""

import json
import os
import re
import shutil
import tempfile
from pathlib import Path

import program
from clients import ClientError, per_request

# Loading the platform's authorities takes longer than all else at its start.
_NO_AUTHORITIES = {"SSL_CERT_FILE": os.devnull, "SSL_CERT_DIR": os.devnull}

_SUMMARY = re.compile(
    r"responses (?P<responses>\d+) .* 2xx (?P<good>\d+),.* errors (?P<errors>\d+),"
    r".* requests per second (?P<rate>[\d.]+)"
)


class ChainhostClient:
    name = "chainhost"

    def __init__(self, chainhost):
        self._chainhost = chainhost

    def missing(self):
        return None

    def run(self, server, work, requests, processor):
        folder = Path(tempfile.mkdtemp(prefix="compare-chainhost-"))
        try:
            (folder / "host.json").write_text(json.dumps(_settings(server, work)))
            with open(folder / "input", "w", encoding="ascii") as lines:
                for request in range(requests):
                    lines.write(_line(work, request))
            command = [self._chainhost, "run", "--config", folder / "host.json"]
            command += ["--input", folder / "input", "--output", folder / "output"]
            ended = program.run(command, processor, _NO_AUTHORITIES)
        finally:
            shutil.rmtree(folder)
        return {"rate": rate_of(ended.errors, requests), **per_request(ended, requests)}


def rate_of(errors, requests):
    """Of the summary, which has to tell that every request was answered as wanted."""
    summary = _SUMMARY.search(errors)
    if summary is None:
        raise ClientError("chainhost: no summary: " + errors[-500:])
    if (int(summary["good"]), int(summary["errors"])) != (requests, 0):
        raise ClientError("chainhost: " + summary.group())
    return float(summary["rate"])


def _settings(server, work):
    config = {"host": "127.0.0.1", "port": server.port(work), "numClients": work.connections}
    if work.tls:
        config.update(tls=True, tlsCertificateAuthorityFile=server.authority)
    return {"logLevel": "ERROR", "config": config}


def _line(work, request):
    http = {"method": work.method, "path": work.target}
    metadata = {"requestId": request, "contentType": "application/octet-stream", "http": http}
    message = {"payload": "x" * work.request_bytes, "metadata": metadata}
    return json.dumps(message) + "\n"
