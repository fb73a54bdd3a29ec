"""loopback : ports of 127.0.0.1, and what the system knows about the connections to them."""

import contextlib
import socket

ADDRESS = "127.0.0.1"
_CLOSE_WAIT = "08"  # the other side has closed, this one has not yet


class ReservedPort:
    """A free port that nobody else gets as long as this object keeps it: the socket is bound and
    never listens. A server that sets SO_REUSEADDR, as they all do, can listen on the port beside
    it, end, and listen again; meanwhile connections are refused."""

    def __init__(self):
        self._socket = socket.socket()
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._socket.bind((ADDRESS, 0))
        self.number = self._socket.getsockname()[1]

    def close(self):
        self._socket.close()


def connection(port):
    """A new one, to whoever listens there."""
    return socket.create_connection((ADDRESS, port))


def accepts(port):
    """Whether somebody listens there."""
    with contextlib.suppress(ConnectionError):
        connection(port).close()
        return True
    return False


def closed_by_server(port):
    """Whether a client holds a connection to the port that the server has closed already."""
    server = f"{int.from_bytes(socket.inet_aton(ADDRESS), 'little'):08X}:{port:04X}"
    with open("/proc/net/tcp", encoding="ascii") as table:
        rows = [line.split() for line in table]
    return any(row[2] == server and row[3] == _CLOSE_WAIT for row in rows)
