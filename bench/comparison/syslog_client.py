"""syslog_client : syslog-ng's http destination, where it is installed: lines of a file as requests.

It runs until it is told to end: its own counter says when all lines are answered. What its start
and its end cost is spread over the requests, too.
"""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path

import program
from clients import ClientError, per_request
from comparisons import SYSLOG

_POLL_SECS = 0.02
_CONFIGURATION = """\
@version: 3.35
options {{ stats-level(1); keep-hostname(yes); use-dns(no); }};
source lines {{
  file("{folder}/input" flags(no-parse) read-old-records(yes) log-iw-size(100000)
       log-fetch-limit(1000) log-msg-size({line_bytes}));
}};
destination server {{
  http(url("{url}") method("POST") workers({workers}) batch-lines(1) log-fifo-size(200000)
       headers("Content-Type: application/octet-stream") body("${{MESSAGE}}") {tls});
}};
log {{ source(lines); destination(server); flags(flow-control); }};
"""
_COUNT = re.compile(r"^dst\.http\.[^\n]*\.(\w+)=(\d+)$", re.MULTILINE)


class SyslogClient:
    name = SYSLOG

    def missing(self):
        found = shutil.which("syslog-ng") and shutil.which("syslog-ng-ctl")
        return None if found else "syslog-ng is not installed"

    def run(self, server, work, requests, processor):
        folder = Path(tempfile.mkdtemp(prefix="compare-syslog-"))
        try:
            with open(folder / "input", "w", encoding="ascii") as lines:
                lines.writelines(["x" * work.request_bytes + "\n"] * requests)
            (folder / "conf").write_text(_configuration(folder, server, work), encoding="ascii")
            return _measured(folder, requests, processor)
        finally:
            shutil.rmtree(folder)


def counts_in(answer):
    """The counters of the destination, by name."""
    return {name: int(count) for name, count in _COUNT.findall(answer)}


def _configuration(folder, server, work):
    return _CONFIGURATION.format(
        folder=folder,
        line_bytes=work.request_bytes + 1024,
        url=server.url(work),
        workers=work.connections,
        tls=f'tls(ca-file("{server.authority}"))' if work.tls else "",
    )


def _measured(folder, requests, processor):
    files = {"-f": "conf", "-R": "persist", "-p": "pid", "-c": "control"}
    words = [word for option, name in files.items() for word in (option, folder / name)]
    with open(folder / "log", "wb") as log:
        process = subprocess.Popen(
            program.pinned(["syslog-ng", "-F", "--no-caps", *words], processor),
            stdin=subprocess.DEVNULL,
            stdout=log,
            stderr=log,
        )
    try:
        rate = _rate(process, folder, requests)
    finally:
        process.send_signal(signal.SIGTERM)
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    ended = program.Ended(
        "",
        "",
        (usage.ru_utime * 1e6, usage.ru_stime * 1e6),
        (usage.ru_nvcsw, usage.ru_nivcsw),
    )
    return {"rate": rate, "requests": requests, **per_request(ended, requests)}


# Between the first look that finds answers and the one that finds all; since the start where these
# are the same, which a run of some length never is.
def _rate(process, folder, requests):
    begin = time.monotonic()
    guard = begin + program.GUARD_SECS
    first = None
    while time.monotonic() < guard and process.poll() is None:
        counts = _counts(folder)
        now, written = time.monotonic(), counts.get("written", 0)
        if counts.get("dropped", 0) != 0:
            raise ClientError(f"syslog-ng: {counts['dropped']} dropped")
        if first is None and written > 0:
            first = (begin, 0) if written >= requests else (now, written)
        if written >= requests:
            return (written - first[1]) / (now - first[0])
        time.sleep(_POLL_SECS)
    raise ClientError("syslog-ng: " + (folder / "log").read_text(errors="replace")[-500:])


def _counts(folder):
    command = ["syslog-ng-ctl", "query", "get", "dst.http*", "-c", str(folder / "control")]
    return counts_in(subprocess.run(command, capture_output=True, text=True).stdout)
