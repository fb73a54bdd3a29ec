"""nginx : the web server nginx, offering the site of web_site.py."""

import signal

import web_site
from web_server import WebServer

# Its unix socket answers what /upload has passed on: only then does the server read a body.
_CONFIGURATION = """\
daemon off;
worker_processes 1;
pid nginx.pid;
error_log error.log info;
events {{ worker_connections 512; }}
http {{
  log_format columns '$connection_requests\\t$request_method\\t$uri\\t$status';
  access_log access.log columns;
  client_body_temp_path bodies;
  proxy_temp_path proxy;
  fastcgi_temp_path fastcgi;
  uwsgi_temp_path uwsgi;
  scgi_temp_path scgi;
  client_max_body_size 128m;
  large_client_header_buffers 8 64k;
  default_type application/octet-stream;
  keepalive_requests {requests_max};
  keepalive_timeout {idle_secs}s;
  {directives}
  server {{
    listen {address} {listen};
    root {folder};
    location /files/ {{ }}
    location /chunked/ {{ alias files/; ssi on; ssi_types *; }}
    location /gzip/ {{ alias files/; gzip on; gzip_types *; gzip_min_length 1; }}
    location /deflate/ {{ alias deflated/; add_header Content-Encoding deflate; }}
    location /private/ {{
      alias files/;
      auth_basic peers;
      auth_basic_user_file {folder}/htpasswd;
    }}
    location = /slow {{ alias files/1m; limit_rate 16k; auth_request /begun; }}
    location = /begun {{ internal; log_subrequest on; return 204; }}
    location /upload {{
      client_body_in_file_only on;
      proxy_pass http://unix:{folder}/inner.sock:/;
      proxy_set_body "";
      add_header X-Method $request_method;
      add_header X-Stored $request_body_file;
      add_header X-Cookie $http_cookie;
      add_header X-Echo $http_x_echo;
      add_header X-Type $content_type;
    }}
    location = /limited {{
      client_max_body_size {limit};
      proxy_pass http://unix:{folder}/inner.sock:/;
    }}
{locations}
  }}
  server {{
    listen unix:{folder}/inner.sock;
    access_log off;
    location / {{ return 200 'taken'; }}
  }}
}}
"""


class Nginx(WebServer):
    NAME = "nginx"
    PACKAGES = ("nginx-light",)
    FINISH_SIGNAL = signal.SIGQUIT

    def __init__(self, directives="", listen="", **limits):
        self._directives = directives
        self._listen = listen  # how else than plainly
        super().__init__(**limits)

    def prepare(self):
        web_site.write_site(self)
        self.write("htpasswd", web_site.htpasswd_line())
        self.write(
            "nginx.conf",
            _CONFIGURATION.format(
                address=self.address,
                directives=self._directives,
                requests_max=self.requests_max,
                idle_secs=self.idle_secs,
                listen=self._listen,
                folder=self.folder,
                limit=web_site.LIMIT_BYTES,
                locations="".join(f"    location = {line}\n" for line in _locations()),
            ),
        )

    def command(self):
        return ["nginx", "-p", self.folder, "-c", "nginx.conf", "-e", "error.log"]


# Locations of one path each.
def _locations():
    for status in web_site.REDIRECTS:
        yield f"/redirect/{status} {{ return {status} /upload/landed; }}"
    yield "/circle { return 302 /circle; }"
    yield f"/elsewhere {{ return 302 {web_site.ELSEWHERE}; }}"
    for status in web_site.STATUSES:
        text = "" if status == 204 else f" 'status {status}'"
        yield f"/status/{status} {{ return {status}{text}; }}"
    cookies = " ".join(f"add_header Set-Cookie '{cookie}';" for cookie in web_site.COOKIES)
    yield f"/cookies/set {{ {cookies} return 200 'set'; }}"
    deleted = f"add_header Set-Cookie '{web_site.COOKIE_DELETED}';"
    yield f"/cookies/delete {{ {deleted} return 200 'deleted'; }}"
    many = " ".join(f"add_header X-Many-{i} {i};" for i in range(web_site.MANY))
    yield f"/many {{ {many} return 200 'many'; }}"
    yield (  # no word of a configuration may be longer than 4096 bytes
        f"/long {{ set $part {'x' * (web_site.LONG // 10)};"
        f" add_header X-Long {'$part' * 10}; return 200 'long'; }}"
    )
    for charset in web_site.CHARSETS:
        yield f"/charset/{charset} {{ default_type 'Text/Plain; Charset={charset.upper()}'; }}"
