"""machine : where and with what the figures were measured."""

import os
import platform
import re
import shutil
import ssl
import subprocess
from pathlib import Path

_PACKAGES = ("libpoco-dev", "libcurl4-openssl-dev", "g++", "nginx-light", "wrk", "linux-perf")
_OPTIONAL_PACKAGES = ("golang-go", "syslog-ng-core", "nodejs")


def facts():
    """Pairs of a name and what is so called here."""
    installed = [name for name in _OPTIONAL_PACKAGES if version_of(name) != "not installed"]
    packages = [*_PACKAGES, *installed]
    return [
        ("machine", f"{_processor()}, {os.cpu_count()} processors, {_memory_gib():.1f} GiB"),
        ("system", f"{_system()}, Linux {platform.release()}"),
        ("packages", ", ".join(f"{name} {version_of(name)}" for name in packages)),
        ("OpenSSL", ssl.OPENSSL_VERSION),
        ("Python", platform.python_version()),
    ]


def version_of(package):
    """Of a Debian package, without Debian's own part of it."""
    if shutil.which("dpkg-query") is None:
        return "unknown"
    query = ["dpkg-query", "-W", "-f=${db:Status-Status} ${Version}", package]
    status, _, version = subprocess.run(query, capture_output=True, text=True).stdout.partition(" ")
    if status != "installed":
        return "not installed"
    return re.split(r"[-+]", version.split(":")[-1])[0]


def _processor():
    found = re.search(r"^model name\s*: (.+)$", _read("/proc/cpuinfo"), re.MULTILINE)
    return found[1] if found else platform.machine()


def _memory_gib():
    return os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30


def _system():
    found = re.search(r'^PRETTY_NAME="?([^"\n]+)', _read("/etc/os-release"), re.MULTILINE)
    return found[1] if found else platform.system()


def _read(file):
    return Path(file).read_text(encoding="utf-8", errors="replace")
