"""rounds : runs the cells of a comparison by turns: A B C, A B C, and so on."""

from dataclasses import dataclass

from clients import LIFECYCLE, ClientError
from program import ProgramError
from work import KIB, MIB

_MADE_BYTES_MAX = 256 * MIB  # of messages that stand ready before a run at a steady rate
_MESSAGE_BYTES = 4 * KIB  # of one without its body
_PACED_TIMES = 4  # rare latencies take longer to be seen
_REQUESTS_MIN = 50
_REQUESTS_MAX = 100_000


@dataclass(frozen=True)
class Length:
    """How long a run is to last, and how often each is repeated."""

    rounds: int
    seconds: float  # 0: as many requests as the pilot has, which is left out then
    pilot: int  # requests of a first run that tells how many make up such a time


def requests_for(work, rate, seconds):
    """How many requests last so long at a rate, within what fits in memory."""
    most = _REQUESTS_MAX
    if work.rate:
        most = min(most, _MADE_BYTES_MAX // (_MESSAGE_BYTES + work.request_bytes))
    return max(min(round(rate * seconds), most), _REQUESTS_MIN)


class Rounds:
    """`clients` and `servers` by name; what is missing in one of them takes no part."""

    def __init__(self, clients, servers, length, processor, tell):
        self._clients = clients
        self._servers = servers
        self._length = length
        self._processor = processor
        self._tell = tell

    def measure(self, comparison, runs):
        cells = [cell for cell in comparison.cells if self._takes_part(cell)]
        numbers = {}
        for cell in cells:
            number = self._number_of_requests(comparison, cell, runs)
            if number is not None:
                numbers[cell] = number
        for number in range(1, self._length.rounds + 1):
            self._tell(f"{comparison.title}: round {number}")
            for cell in list(numbers):
                figures = self._run(comparison, cell, numbers[cell], runs)
                if figures is None:
                    del numbers[cell]
                else:
                    runs.record(comparison, cell, figures)

    def _takes_part(self, cell):
        return cell.client in self._clients and cell.server in self._servers

    # None: the first run has failed.
    def _number_of_requests(self, comparison, cell, runs):
        work = cell.work
        if cell.client == LIFECYCLE:
            return work.connections
        if work.rate:
            return requests_for(work, work.rate, self._length.seconds * _PACED_TIMES)
        pilot = requests_for(work, self._length.pilot, 1)
        if self._length.seconds == 0:
            return pilot
        figures = self._run(comparison, cell, pilot, runs)
        if figures is None:
            return None
        return requests_for(work, figures["rate"], self._length.seconds)

    def _run(self, comparison, cell, requests, runs):
        client, server = self._clients[cell.client], self._servers[cell.server]
        try:
            return client.run(server, cell.work, requests, self._processor)
        except (ClientError, ProgramError, ValueError) as failure:
            self._tell(f"{cell.client}: {failure}")
            runs.record_failure(comparison, cell, getattr(failure, "last_line", str(failure)))
            return None
