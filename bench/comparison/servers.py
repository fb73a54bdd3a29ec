"""servers : what answers the clients: the server of the comparison, and nginx."""

import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
from pathlib import Path

import program
from work import KIB, MIB

OWN = "own server"
NGINX = "nginx"

_ADDRESS = "127.0.0.1"
_STOP_SECS = 30


class Server:
    """Its ports, and the file with the authority that has signed its certificate."""

    def __init__(self, plain, tls, authority):
        self._ports = {False: plain, True: tls}
        self.authority = authority

    def port(self, work):
        return self._ports[work.tls]

    def url(self, work):
        return f"http{'s' if work.tls else ''}://{_ADDRESS}:{self.port(work)}{work.target}"


@contextlib.contextmanager
def own_server(folder, processor):
    """compare_server of this folder, on a processor. With the Server comes what it shows: the files
    of its certificate and of the key."""
    process = subprocess.Popen(
        program.pinned([folder / "compare_server"], processor),
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    )
    try:
        line = process.stdout.readline()
        if not line:
            raise program.ProgramError("compare_server does not start")
        told = json.loads(line)
        server = Server(told["plain"], told["tls"], told["authority"])
        yield server, (told["certificate"], told["key"])
    finally:
        process.stdin.close()
        _reap(process)
        process.stdout.close()


# Bodies that a POST gets fit in a word of the configuration; larger ones are files for a GET.
_CONFIGURATION = """\
daemon off;
worker_processes 1;
pid nginx.pid;
error_log error.log;
{user}
events {{ worker_connections 1024; }}
http {{
  access_log off;
  client_body_temp_path bodies;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  client_max_body_size 8m;
  default_type application/octet-stream;
  keepalive_requests 1000000000;
  keepalive_timeout 3600s;
  server {{
    listen {plain};
    listen {tls} ssl;
    ssl_certificate {certificate};
    ssl_certificate_key {key};
    root {folder};
    location = /answer/{small}/0 {{ return 200 '{body}'; }}
  }}
}}
"""


def nginx_missing():
    """Why there is no nginx; None: there is."""
    return None if _nginx_program() else "nginx is not installed"


@contextlib.contextmanager
def nginx_server(authority, identity, processor):
    """nginx with the answers that are asked of it; the same certificate as the other server."""
    folder = Path(tempfile.mkdtemp(prefix="compare-nginx-"))
    listeners = [socket.create_server((_ADDRESS, 0)) for _ in range(2)]
    process = None
    try:
        ports = [listener.getsockname()[1] for listener in listeners]
        _write_site(folder, ports, identity)
        words = [_nginx_program(), "-p", folder, "-c", "nginx.conf", "-e", "error.log"]
        with open(folder / "start.log", "wb") as log:
            process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", "--", *program.pinned(words, processor)],
                # It takes over the listening sockets that this variable names.
                env={**os.environ, "NGINX": "".join(f"{each.fileno()};" for each in listeners)},
                pass_fds=[each.fileno() for each in listeners],
                stdout=log,
                stderr=log,
            )
        for listener in listeners:
            listener.close()
        _await_answer(ports[0], folder)
        yield Server(ports[0], ports[1], authority)
    finally:
        for listener in listeners:
            listener.close()
        if process is not None:
            process.send_signal(signal.SIGTERM)
            _reap(process)
        shutil.rmtree(folder)


def _write_site(folder, ports, identity):
    for size in (0, 100 * KIB, MIB):
        file = folder / "answer" / str(size) / "0"
        file.parent.mkdir(parents=True)
        file.write_bytes(b"y" * size)
    certificate, key = identity
    text = _CONFIGURATION.format(
        user="user root;" if os.geteuid() == 0 else "",  # else its worker cannot read the folder
        plain=f"{_ADDRESS}:{ports[0]}",
        tls=f"{_ADDRESS}:{ports[1]}",
        certificate=certificate,
        key=key,
        folder=folder,
        small=KIB,
        body="y" * KIB,
    )
    (folder / "nginx.conf").write_text(text, encoding="ascii")


# The connection itself succeeds in any case, and ends unanswered when the server does not start.
def _await_answer(port, folder):
    answer = b""
    with contextlib.suppress(OSError), socket.create_connection((_ADDRESS, port), 30) as client:
        client.sendall(b"GET /answer/0/0 HTTP/1.0\r\n\r\n")
        answer = client.recv(64)
    if not answer.startswith(b"HTTP/1.1 200 "):
        logs = [file.read_text(errors="replace") for file in folder.glob("*.log")]
        raise program.ProgramError("nginx does not start: " + "".join(logs))


# Debian keeps system programs where an ordinary user's PATH may not lead.
def _nginx_program():
    return shutil.which("nginx", path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")


def _reap(process):
    try:
        process.wait(_STOP_SECS)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
