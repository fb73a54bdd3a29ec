"""refusing_proxy : HAProxy as a proxy that passes nothing on. It answers with the status that the
server's port names."""

from proxy import Proxy

STATUSES = {
    407: "Proxy Authentication Required",
    429: "Too Many Requests",
    502: "Bad Gateway or Proxy Error",
    503: "Service Unavailable",
    504: "Gateway Time-out",
}
_CONFIGURATION = """\
global
  log stdout format raw local0
defaults
  mode http
  log global
  option dontlognull
  timeout client 120s
frontend proxy
  bind {address}
  log-format "%HM\\t%HU\\t%ST\\t%[var(txn.first)]"
  http-request set-var(txn.first) http_first_req
{answers}
"""


class RefusingProxy(Proxy):
    NAME = "HAProxy as a proxy that refuses"
    PACKAGES = ("haproxy",)

    def prepare(self):
        answers = "".join(
            f"  http-request return status {status} content-type text/plain string 'no {status}'"
            f" if {{ url_sub :{status} }}\n"
            for status in STATUSES
        )
        self.write("haproxy.cfg", _CONFIGURATION.format(address=self.address, answers=answers))

    def command(self):
        return ["haproxy", "-db", "-f", "haproxy.cfg"]

    def answered(self):
        """Method, target, status, and whether the connection was new ("1"), of each request."""
        return [tuple(line.split("\t")) for line in self.log_lines("output.log") if "\t" in line]
