"""web_server : a peer that offers the site of web_site.py and keeps an access log.

The log, ACCESS_LOG, has one line for each request when it has been answered, with these columns
between tabulators: number of the request on its connection, method, path, status.
"""

from dataclasses import dataclass

from peer import Peer


@dataclass(frozen=True)
class AccessLine:
    begins: bool  # the first request on a connection
    method: str
    path: str
    status: int


class WebServer(Peer):
    ACCESS_LOG = "access.log"
    FIRST = "1"  # number of the first request on a connection
    FINISH_SIGNAL = Peer.STOP_SIGNAL  # lets it answer what it has begun

    def __init__(self, requests_max=10_000, idle_secs=60):
        self.requests_max = requests_max  # on one connection
        self.idle_secs = idle_secs  # until a connection is closed
        super().__init__()

    def finish(self):
        """Ends the server once it has answered what it has begun: its log is complete."""
        self.stop(self.FINISH_SIGNAL)

    def access_log(self):
        """The requests in the order in which their answers ended."""
        rows = [line.split("\t") for line in self.log_lines(self.ACCESS_LOG) if "\t" in line]
        return [AccessLine(row[0] == self.FIRST, row[1], row[2], int(row[3])) for row in rows]
