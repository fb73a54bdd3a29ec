"""wrk_client : the load generator wrk, which shows how much the server can do."""

import re
import shutil
import tempfile
from pathlib import Path

import program
from clients import ClientError, per_request

_SECONDS = 1  # it counts in whole ones
_UNITS = {"us": 1, "ms": 1e3, "s": 1e6}
_PERCENTILES = {"50%": "p50Micros", "90%": "p90Micros", "99%": "p99Micros"}


class WrkClient:
    name = "wrk"

    def missing(self):
        return None if shutil.which("wrk") else "wrk is not installed"

    def run(self, server, work, _requests, processor):
        with tempfile.TemporaryDirectory(prefix="compare-wrk-") as folder:
            script = Path(folder) / "request.lua"
            script.write_text(_script(work), encoding="ascii")
            command = ["wrk", "-t", 1, "-c", work.connections, "-d", f"{_SECONDS}s", "--latency"]
            ended = program.run([*command, "-s", script, server.url(work)], processor)
        figures, requests = parse(ended.output)
        return {**figures, **per_request(ended, requests)}


def parse(output):
    """Rate and latencies, and the number of requests."""
    if "Socket errors" in output or "Non-2xx" in output:
        raise ClientError("wrk: " + output)
    requests = re.search(r"^ *(\d+) requests in ", output, re.MULTILINE)
    rate = re.search(r"^Requests/sec: *([\d.]+)", output, re.MULTILINE)
    if requests is None or rate is None:
        raise ClientError("wrk: no figures: " + output)
    figures = {"rate": float(rate[1])}
    for percent, number, unit in re.findall(r"^ *(\d+%) +([\d.]+)(us|ms|s)$", output, re.MULTILINE):
        if percent in _PERCENTILES:
            figures[_PERCENTILES[percent]] = float(number) * _UNITS[unit]
    return figures, int(requests[1])


def _script(work):
    lines = [f'wrk.method = "{work.method}"']
    if work.request_bytes:
        lines.append(f'wrk.body = string.rep("x", {work.request_bytes})')
        lines.append('wrk.headers["Content-Type"] = "application/octet-stream"')
    return "\n".join(lines) + "\n"
