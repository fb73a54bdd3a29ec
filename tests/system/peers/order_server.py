"""order_server : nginx with a log that proves in which order requests came and went.

nginx runs as one process with one thread. It writes two lines for each request into one file: the
first when it has read the request's head, before it passes the request on (a subrequest that is
logged), the second in the same step in which it hands the last byte of the answer to the system.
For that, answers are small and passed on unbuffered: were anything left to do after the last byte,
a client that has its answer could be seen beginning its next request before that one's end. So the
lines stand in the order in which things happened, without a clock and its rounding.

What that proves: a request that was sent after the answer to another had come begins after the
other's end, always, so that nothing is blamed without cause. And where one begins before the
other's end, both have been under way at once, and the log shows it.

What it does not prove: that a request was not on its way already, unread by the server, when the
other was answered. Therefore each request is passed on to a further server, /quick/ by way of
nginx's event loop to another server of this one, which takes several turns; in each turn nginx
reads what has come on other connections. On the same connection it does not, but tells afterwards
that a request had come too early (pipelined).

/held/ is passed on to the tests' own Gate, which answers when it is told to: what has to be at the
server at the same time is waited for, and does not depend on how fast anybody is.
"""

import contextlib
import socketserver
import threading
from http.server import BaseHTTPRequestHandler

import loopback
from nginx import Nginx
from order_log import parse_event
from waiting import GUARD_SECS

_BEGINNING = "/begins"
_CONFIGURATION = """\
daemon off;
worker_processes 1;
pid nginx.pid;
error_log error.log info;
events {{ worker_connections 512; }}
http {{
  log_format columns '$uri\\t$request_uri\\t$connection\\t$pipe\\t$status';
  client_body_temp_path bodies;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  keepalive_requests 100000;
  upstream inner {{ server unix:{folder}/inner.sock; keepalive 32; keepalive_requests 100000; }}
  server {{
    listen {address};
    access_log access.log columns;
    auth_request {beginning};
    proxy_buffering off;
    location = {beginning} {{ internal; auth_request off; log_subrequest on; return 204; }}
    location /quick/ {{
      proxy_pass http://inner;
      proxy_http_version 1.1;
      proxy_set_header Connection "";
    }}
    location /held/ {{ proxy_pass http://{gate}; }}
  }}
  server {{
    listen unix:{folder}/inner.sock;
    access_log off;
    location / {{ return 200 $request_uri; }}
  }}
}}
"""


class OrderServer(Nginx):
    """Answers with the request's target. It has a gate of its own."""

    def __init__(self):
        self.gate = Gate()
        try:
            super().__init__()
        except BaseException:
            self.gate.close()
            raise

    def prepare(self):
        self.write(
            "nginx.conf",
            _CONFIGURATION.format(
                address=self.address,
                folder=self.folder,
                beginning=_BEGINNING,
                gate=f"{loopback.ADDRESS}:{self.gate.port}",
            ),
        )

    def close(self):
        self.gate.close()
        super().close()

    def events(self):
        """What happened, in its order."""
        return [parse_event(line, _BEGINNING) for line in self.log_lines(self.ACCESS_LOG)]


class Gate:
    """An HTTP server that answers no request before it is opened, and from then on each at once."""

    def __init__(self):
        self._held = 0
        self._lock = threading.Lock()
        self._open = threading.Event()
        self._server = _Server((loopback.ADDRESS, 0), self._handler())
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.05,))
        self._thread.start()

    @property
    def port(self):
        return self._server.server_address[1]

    def holds(self):
        """How many requests are there and not answered."""
        with self._lock:
            return self._held

    def open(self):
        self._open.set()

    def close(self):
        self.open()
        self._server.shutdown()
        self._server.server_close()  # waits for those that are being answered
        self._thread.join()

    def _hold(self):
        with self._lock:
            self._held += 1
        self._open.wait(GUARD_SECS)
        with self._lock:
            self._held -= 1

    def _handler(gate):
        class Handler(BaseHTTPRequestHandler):
            def do_GET(self):
                gate._hold()
                body = self.path.encode("ascii")
                with contextlib.suppress(ConnectionError):
                    self.send_response(200)
                    self.send_header("Content-Length", str(len(body)))
                    self.end_headers()
                    self.wfile.write(body)

            def log_message(self, *_):
                pass

        return Handler


# Not http.server's own class: that one looks its host's name up.
class _Server(socketserver.ThreadingTCPServer):
    request_queue_size = 64
