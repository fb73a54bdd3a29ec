"""go_client : Go's net/http, where Go is installed."""

import shutil
from pathlib import Path

import program
from clients import WorkProgram
from comparisons import GO

_SOURCE = Path(__file__).resolve().parent / "go_client.go"


class GoClient(WorkProgram):
    """Built into a folder before its first run."""

    def __init__(self, folder):
        self._program = (folder / "go_client").resolve()
        self._is_built = False
        super().__init__(GO, [self._program])

    def missing(self):
        return None if shutil.which("go") else "go is not installed"

    def run(self, server, work, requests, processor):
        if not self._is_built:
            self._program.parent.mkdir(parents=True, exist_ok=True)
            program.run(["go", "build", "-o", self._program, _SOURCE])
            self._is_built = True
        return super().run(server, work, requests, processor)
