"""peer : a real server beside the tests, in a folder of its own on a loopback port of its own.

A peer runs in the foreground, with the rights of an ordinary user also where the tests run as root,
and gets a signal by its process id when it has to end; it also ends when the tests do.
"""

import contextlib
import os
import pwd
import re
import shutil
import signal
import subprocess
import tempfile
from pathlib import Path

import loopback
import waiting

_USER = "nobody"  # Debian's user without rights
_SYSTEM_PATH = "/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin"


class PeerError(Exception):
    """A peer that does not start or end as it should, with its own words."""


class Peer:
    """Derived classes name themselves and their packages, write their configuration in prepare(),
    and say in command() what to run. Logs are the files "*.log" in the folder.
    """

    NAME = None  # as docs/compatibility.md calls it
    PACKAGES = ()  # Debian's, which tell its version
    STOP_SIGNAL = signal.SIGTERM

    running = []  # for whoever wants to show their logs

    def __init__(self):
        self.folder = Path(tempfile.mkdtemp(prefix="peer-"))
        self.folder.chmod(0o755)
        self._port = loopback.ReservedPort()
        self._process = None
        try:
            self.prepare()
            self._give_away(self.folder)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.close()

    @property
    def is_running(self):
        return self._process is not None

    @property
    def port(self):
        return self._port.number

    @property
    def address(self):
        return f"{loopback.ADDRESS}:{self.port}"

    def prepare(self):
        """Writes what the peer needs into the folder."""
        raise NotImplementedError

    def command(self):
        """The words of the command that runs the peer in the foreground."""
        raise NotImplementedError

    def answers(self):
        """Whether the peer is ready."""
        return loopback.accepts(self.port)

    def write(self, name, content):
        """A file of text or bytes in the folder; its path."""
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content.encode() if isinstance(content, str) else content)
        return file

    def start(self):
        """Returns when the peer answers."""
        with open(self.folder / "output.log", "ab") as output:
            self._process = subprocess.Popen(
                [*self._confined(), *map(str, self.command())],
                cwd=self.folder,
                env={"PATH": _SYSTEM_PATH, "LC_ALL": "C.UTF-8", "HOME": str(self.folder)},
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=output,
                start_new_session=True,
            )
        Peer.running.append(self)
        waiting.until(f"{self.NAME} answers", self._has_started)

    def stop(self, stop_signal=None):
        """Ends the peer, and what it may have left behind. The port stays reserved."""
        if self._process is None:
            return
        process, self._process = self._process, None
        Peer.running.remove(self)
        with contextlib.suppress(ProcessLookupError):
            os.kill(process.pid, stop_signal or self.STOP_SIGNAL)
        try:
            waiting.until(f"{self.NAME} ends", lambda: _has_ended(process.pid))
        finally:
            # Not yet waited for, so that the number still stands for its group and nobody else's.
            with contextlib.suppress(ProcessLookupError, PermissionError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def signal(self, number):
        """Sends the peer a signal that does not end it."""
        os.kill(self._process.pid, number)

    def restart(self):
        self.stop()
        self.start()

    def close(self):
        try:
            self.stop()
        finally:
            self._port.close()
            shutil.rmtree(self.folder)

    def logs(self):
        """What the peer has written, by file name."""
        return {
            file.name: file.read_text(encoding="utf-8", errors="replace")
            for file in sorted(self.folder.glob("*.log"))
        }

    def log_lines(self, name):
        """The whole lines of one of its logs."""
        file = self.folder / name
        text = file.read_text(encoding="utf-8", errors="replace") if file.exists() else ""
        return text[: text.rfind("\n") + 1].splitlines()

    def _has_started(self):
        if _has_ended(self._process.pid):
            self.stop()
            raise PeerError(f"{self.NAME} ended at once: {self.logs()}")
        return self.answers()

    # The tests' own death ends the peer, too. A program that is missing is told by the log.
    def _confined(self):
        words = ["setpriv", "--pdeathsig", "TERM"]
        if os.geteuid() == 0:
            words += [f"--reuid={_USER}", "--regid=nogroup", "--clear-groups"]
        return [*words, "--"]

    def _give_away(self, folder):
        if os.geteuid() != 0:
            return
        user = pwd.getpwnam(_USER)
        for path in (folder, *folder.rglob("*")):
            os.chown(path, user.pw_uid, user.pw_gid)


def _has_ended(pid):
    return os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None


def version_of(package):
    """Of a Debian package, without Debian's own part of it."""
    query = ["dpkg-query", "-W", "-f=${Version}", package]
    version = subprocess.run(query, capture_output=True, text=True).stdout
    return re.split(r"[-+]", version)[0] or "not installed"
