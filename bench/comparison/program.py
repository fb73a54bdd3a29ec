"""program : runs a program to its end, and tells what it cost."""

import os
import subprocess
import tempfile
import threading
from dataclasses import dataclass

GUARD_SECS = 300


class ProgramError(Exception):
    """A program that failed, with its own words."""

    def __init__(self, text, words=None):
        super().__init__(text)
        self.last_line = (words or text).strip().splitlines()[-1]


@dataclass(frozen=True)
class Ended:
    output: str
    errors: str
    processor_micros: tuple  # user, system; of its children, too, that it has waited for
    switches: tuple  # voluntary, involuntary


def pinned(command, processor):
    """The command on one processor; None: on any."""
    words = [str(word) for word in command]
    return words if processor is None else ["taskset", "-c", str(processor), *words]


def run(command, processor=None, environment=None):
    """ProgramError when the program does not end with 0."""
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
        try:
            process = subprocess.Popen(
                pinned(command, processor),
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=errors,
                env={**os.environ, **(environment or {})},
            )
        except FileNotFoundError as failure:
            raise ProgramError(f"{failure.filename} is not installed") from None
        code, usage = _wait(process)
        ended = Ended(
            _text(output),
            _text(errors),
            (usage.ru_utime * 1e6, usage.ru_stime * 1e6),
            (usage.ru_nvcsw, usage.ru_nivcsw),
        )
    if code != 0:
        words = ended.errors.strip() or ended.output.strip()
        text = f"{' '.join(map(str, command))}: ended with {code}: {words}"
        raise ProgramError(text, words or text)
    return ended


# Like wait(), which does not tell the usage of this one process.
def _wait(process):
    guard = threading.Timer(GUARD_SECS, process.kill)
    guard.start()
    try:
        _, status, usage = os.wait4(process.pid, 0)
    except BaseException:
        process.kill()
        process.wait()
        raise
    finally:
        guard.cancel()
    process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, usage


def _text(file):
    file.seek(0)
    return file.read().decode("utf-8", errors="replace")
