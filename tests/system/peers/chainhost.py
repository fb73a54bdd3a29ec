"""chainhost : runs the built host with the built plugin: messages in, responses out."""

import contextlib
import json
import os
import queue
import subprocess
import threading
from pathlib import Path

from messages import parse_response
from waiting import GUARD_SECS

# Loading the platform's authorities takes longer than all else in a run. Only runs that are about
# them do it; to the others the platform knows none.
NO_AUTHORITIES = {"SSL_CERT_FILE": os.devnull, "SSL_CERT_DIR": os.devnull}

_END = None


class Chainhost:
    """The program; its runs leave configuration and log in a folder."""

    def __init__(self, program, folder):
        self._program = program
        self._folder = Path(folder)
        self._runs = 0

    def session(self, port, log_level="DEBUG", environment=NO_AUTHORITIES, **config):
        """A run that takes messages one after the other, with these environment variables as well.
        The rest is the transport's own configuration."""
        self._runs += 1
        file = self._folder / f"chainhost-{self._runs}.json"
        own = {"host": "127.0.0.1", "port": port, **config}
        file.write_text(json.dumps({"logLevel": log_level, "config": own}), encoding="utf-8")
        command = [self._program, "run", "--config", str(file)]
        return Session(command, environment, file.with_suffix(".log"))

    def run(self, port, *messages, **config):
        """The responses to these messages, in their order."""
        with self.session(port, **config) as session:
            return session.exchange(*messages)

    def logs(self):
        """What the runs have logged, by file name."""
        return {
            file.name: file.read_text(encoding="utf-8", errors="replace")
            for file in sorted(self._folder.glob("chainhost-*.log"))
        }


class Session:
    """One run of the program. Leaving it ends the input, and checks that the program ends well and
    has nothing more to say."""

    def __init__(self, command, environment, log_file):
        self.log_file = log_file
        self._lines = queue.Queue()
        with open(log_file, "wb") as log:
            self._process = subprocess.Popen(
                command,
                env={**os.environ, **environment},
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=log,
            )
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if kind is not None:
            self._process.kill()
        self._end_input()
        try:
            code = self._process.wait(GUARD_SECS)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            raise
        finally:
            self._reader.join(GUARD_SECS)
            self._process.stdout.close()
        if kind is None:
            assert code == 0, f"chainhost ended with {code}: {self.log()}"
            assert self._lines.get(timeout=GUARD_SECS) is _END, "more responses than requests"

    def send(self, *messages):
        for message in messages:
            self._process.stdin.write(json.dumps(message).encode("utf-8") + b"\n")
        self._process.stdin.flush()

    def receive(self):
        """The next response, whichever it is."""
        try:
            line = self._lines.get(timeout=GUARD_SECS)
        except queue.Empty:
            raise AssertionError(f"no response for {GUARD_SECS} s: {self.log()}") from None
        assert line is not _END, f"chainhost ended early: {self.log()}"
        return parse_response(line)

    def exchange(self, *messages):
        """Sends them and returns their responses in the same order; each is answered once."""
        self.send(*messages)
        return self.receive_all(*messages)

    def receive_all(self, *messages):
        """The responses to messages that have been sent, in their order."""
        ids = [message["metadata"]["requestId"] for message in messages]
        received = [self.receive() for _ in ids]
        responses = {response.id: response for response in received}
        assert sorted(responses) == sorted(ids), "each request is answered exactly once"
        return [responses[one] for one in ids]

    def log(self):
        return self.log_file.read_text(encoding="utf-8", errors="replace")

    def _end_input(self):
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()

    def _read(self):
        for line in self._process.stdout:
            self._lines.put(line)
        self._lines.put(_END)
