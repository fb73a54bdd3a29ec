"""haproxy : HAProxy in front of an nginx that offers the site of web_site.py, with HTTP/1.1 and
kept connections on both sides."""

import signal

from nginx import Nginx
from web_server import WebServer

_CONFIGURATION = """\
global
  log stdout format raw local0
  {tuning}
defaults
  mode http
  log global
  option dontlognull
  timeout connect 60s
  timeout client 120s
  timeout server {answer_secs}s
  timeout http-keep-alive {idle_secs}s
  retries 0
  {closing}
frontend front
  bind {address}
  http-request set-var(txn.first) http_first_req
  log-format "%[var(txn.first)]\t%HM\t%HP\t%ST"
  default_backend web
backend web
  http-reuse always
  server nginx 127.0.0.1:{port}
"""


class HAProxy(WebServer):
    NAME = "HAProxy"
    PACKAGES = ("haproxy",)
    ACCESS_LOG = "output.log"
    FINISH_SIGNAL = signal.SIGUSR1

    # Room for the long and the many header fields of the site.
    WIDE = "tune.bufsize 131072\n  tune.http.maxhdr 500"

    def __init__(self, tuning=WIDE, port_behind=None, answer_secs=120, **limits):
        self._tuning = tuning
        self._port_behind = port_behind  # another server than nginx
        self._answer_secs = answer_secs  # how long that server is waited for
        # A location with the port behind the proxy would lead past it.
        self.nginx = None if port_behind else Nginx(directives="absolute_redirect off;")
        super().__init__(**limits)

    def prepare(self):
        self.write(
            "haproxy.cfg",
            _CONFIGURATION.format(
                address=self.address,
                answer_secs=self._answer_secs,
                closing="option httpclose" if self.requests_max == 1 else "",
                idle_secs=self.idle_secs,
                port=self._port_behind or self.nginx.port,
                tuning=self._tuning,
            ),
        )

    def command(self):
        return ["haproxy", "-db", "-f", "haproxy.cfg"]

    def start(self):
        if self.nginx and not self.nginx.is_running:
            self.nginx.start()
        super().start()

    def close(self):
        try:
            super().close()
        finally:
            if self.nginx:
                self.nginx.close()
