"""undici_client : undici on Node.js, where both are installed already."""

import shutil
import subprocess
from pathlib import Path

from clients import WorkProgram
from comparisons import UNDICI

_SCRIPT = Path(__file__).resolve().parent / "undici_client.cjs"


class UndiciClient(WorkProgram):
    """Looked for where Node.js looks by itself, NODE_PATH included."""

    def __init__(self):
        super().__init__(UNDICI, ["node", _SCRIPT])

    def missing(self):
        if shutil.which("node") is None:
            return "node is not installed"
        command = ["node", "-e", "require('undici')"]
        found = subprocess.run(command, cwd=_SCRIPT.parent, capture_output=True)
        return None if found.returncode == 0 else "the package undici is not installed"
