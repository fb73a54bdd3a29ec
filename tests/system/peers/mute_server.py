"""mute_server : takes connections, and ends each when its request has come, without an answer."""

import contextlib
import socket
import threading

from loopback import ADDRESS


class MuteServer:
    def __init__(self):
        self._listener = socket.create_server((ADDRESS, 0))
        self.port = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._serve, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self._listener.close()

    def _serve(self):
        with contextlib.suppress(OSError):
            while True:
                self._end(self._listener.accept()[0])

    @staticmethod
    def _end(connection):
        with connection, contextlib.suppress(OSError):
            connection.recv(1 << 16)
