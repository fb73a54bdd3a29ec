"""squid : the proxy Squid, without a cache. It knows the names of HOSTS and asks no name server."""

import functools
import signal
import subprocess
import tempfile
from pathlib import Path

from proxy import Passage, Proxy

_CONFIGURATION = """\
http_port {address}
visible_hostname squid.test
pid_filename {folder}/squid.pid
coredump_dir {folder}
workers 1
max_filedescriptors 1024
cache deny all
cache_mem 0
cache_store_log none
netdb_filename none
pinger_enable off
dns_nameservers 127.0.0.1
hosts_file {folder}/hosts
logformat columns %rm\t%ru\t%>Hs\t%un\t%>p
access_log stdio:{folder}/access.log logformat=columns
cache_log {folder}/cache.log
strip_query_terms off
{login}
http_access deny all
"""
_LOGIN = """\
auth_param basic program /usr/lib/squid/basic_ncsa_auth {folder}/htpasswd
auth_param basic children 1 startup=1
auth_param basic realm peers
acl known proxy_auth REQUIRED
http_access allow known
"""


class Squid(Proxy):
    NAME = "Squid"
    PACKAGES = ("squid",)
    PASSWORD = "sesame: öffne dich"
    STOP_SIGNAL = signal.SIGKILL  # it takes seconds to end in peace; its logs are written at once
    SERVER_DOWN = (503, "Service Unavailable")

    # The names that lead to the server when it is asked for through this proxy.
    HOSTS = ("server.test", "deep.server.test", "very.deep.server.test", "other.test")

    def prepare(self):
        login = "http_access allow all"
        if self.login:
            self.write("htpasswd", f"{self.USER}:{_hash(self.PASSWORD)}\n")
            login = _LOGIN.format(folder=self.folder)
        self.write("hosts", "".join(f"127.0.0.1 {name}\n" for name in self.HOSTS))
        self.write("private_shm.so", _private_shm())
        self.write(
            "squid.conf",
            _CONFIGURATION.format(address=self.address, folder=self.folder, login=login),
        )

    # Neither a directive nor -n spares it its shared memory: without a /dev/shm that takes it, it
    # ends at once, and killed it leaves files there.
    def command(self):
        library = self.folder / "private_shm.so"
        environment = [f"SHM_FOLDER={self.folder}", f"LD_PRELOAD={library}"]
        return ["env", *environment, "squid", "-N", "-f", "squid.conf"]

    def passages(self):
        return [Passage(row[0], row[1]) for row in self._rows()]

    def statuses(self):
        """What it has answered, and to whom: pairs of status and user, "-" for nobody."""
        return [(int(row[2]), row[3]) for row in self._rows()]

    def clients(self):
        """The ports of the connections that the requests came on."""
        return [row[4] for row in self._rows()]

    # A connection that ends without a request is a line with no method.
    def _rows(self):
        rows = [line.split("\t") for line in self.log_lines("access.log")]
        return [row for row in rows if row[0] != "-"]


def _hash(password):
    command = ["openssl", "passwd", "-6", "-stdin"]
    return subprocess.run(
        command, input=password.encode() + b"\n", capture_output=True, check=True
    ).stdout.decode().strip()


@functools.cache
def _private_shm():
    source = Path(__file__).with_name("private_shm.cpp")
    with tempfile.TemporaryDirectory(prefix="shm-") as folder:
        library = Path(folder, "private_shm.so")
        subprocess.run(["g++", "-shared", "-fPIC", "-o", library, source], check=True)
        return library.read_bytes()
