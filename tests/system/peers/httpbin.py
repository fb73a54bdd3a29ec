"""httpbin : the application httpbin under gunicorn, which answers with what it has read."""

import contextlib
import http.client
import random
import signal

import loopback
from peer import Peer

_THREADS = 8


class Httpbin(Peer):
    NAME = "httpbin under gunicorn"
    PACKAGES = ("python3-httpbin", "gunicorn")
    STOP_SIGNAL = signal.SIGKILL  # any other waits for answers that still take their time

    def prepare(self):
        pass

    def command(self):
        return [
            *("gunicorn", "--bind", self.address, "--worker-class", "gthread"),
            *("--threads", _THREADS, "--worker-tmp-dir", self.folder, "--keep-alive", 60),
            *("--access-logfile", "access.log", "--access-logformat", "%(m)s\t%(U)s\t%(s)s"),
            "httpbin:app",
        ]

    def answers(self):
        """The socket is there before the application."""
        connection = http.client.HTTPConnection(loopback.ADDRESS, self.port)
        with contextlib.suppress(ConnectionError), contextlib.closing(connection):
            connection.request("GET", "/status/200")
            return connection.getresponse().status == 200
        return False


def seeded_bytes(size, seed):
    """What /bytes and /stream-bytes answer."""
    numbers = random.Random(seed)
    return bytes(numbers.randint(0, 255) for _ in range(size))
