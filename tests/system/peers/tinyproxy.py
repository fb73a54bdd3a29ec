"""tinyproxy : the proxy Tinyproxy, which keeps no connection: one request, one connection."""

import re

from proxy import Passage, Proxy

_CONFIGURATION = """\
Listen 127.0.0.1
Port {port}
Timeout 120
LogFile "{folder}/proxy.log"
LogLevel Connect
ViaProxyName "tinyproxy"
{login}
"""
_REQUEST = re.compile(r" Request \(file descriptor \d+\): (\S+) (\S+) HTTP/1\.1$")


class Tinyproxy(Proxy):
    NAME = "Tinyproxy"
    PACKAGES = ("tinyproxy-bin",)
    WRONG_LOGIN = (401, "Unauthorized")
    SERVER_DOWN = (500, "Unable to connect")

    def prepare(self):
        login = f"BasicAuth {self.USER} {self.PASSWORD}" if self.login else ""
        self.write(
            "tinyproxy.conf",
            _CONFIGURATION.format(port=self.port, folder=self.folder, login=login),
        )

    def command(self):
        return ["tinyproxy", "-d", "-c", "tinyproxy.conf"]

    def passages(self):
        found = [_REQUEST.search(line) for line in self.log_lines("proxy.log")]
        return [Passage(*match.groups()) for match in found if match]
