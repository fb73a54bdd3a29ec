"""clients : whose requests are compared, by name. Each tells why it is missing, and runs a work.

What a run returns are its figures, by the names that compare_client prints; None stands for what a
client does not tell.
"""

import json

import program

PLUGIN, SOCKET, POCO, CURL = "plugin", "socket", "poco", "curl"
LIFECYCLE = "lifecycle"
NOTHING = "nothing"  # at a steady rate: the threads of a loop wake up when requests are due

FIGURES = (
    "rate",
    "userMicros",
    "systemMicros",
    "voluntarySwitches",
    "involuntarySwitches",
    "p50Micros",
    "p90Micros",
    "p99Micros",
    "p999Micros",
)


class ClientError(Exception):
    """A run that did not do what it was to do."""


class WorkProgram:
    """A program that takes the words of a work, and prints its figures as a line of JSON."""

    def __init__(self, name, words):
        self.name = name
        self._words = words

    def missing(self):
        return None

    def command(self, server, work, requests, warm_up):
        words = [*self._words, "--port", server.port(work)]
        words += ["--requests", requests, "--warm-up", warm_up, *work.words()]
        return [*words, "--authority", server.authority] if work.tls else words

    def run(self, server, work, requests, processor):
        # Few requests do not need many before them; some are needed to open each connection.
        warm_up = min(1000, max(2 * work.connections, requests // 10))
        ended = program.run(self.command(server, work, requests, warm_up), processor)
        figures = json.loads(ended.output)
        if figures.get("failures", 0) != 0:
            raise ClientError(f"{figures['failures']} of {requests} requests failed")
        return figures


def own_client(kind, folder):
    """A kind of compare_client, which is in that folder."""
    return WorkProgram(kind, [folder / "compare_client", "--client", kind])


def per_request(ended, requests):
    """What an ended program cost, spread over its requests: the figures that the system tells."""
    return {
        "userMicros": ended.processor_micros[0] / requests,
        "systemMicros": ended.processor_micros[1] / requests,
        "voluntarySwitches": ended.switches[0] / requests,
        "involuntarySwitches": ended.switches[1] / requests,
    }
