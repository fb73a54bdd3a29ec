"""apache : the web server Apache httpd, offering the site of web_site.py."""

import signal

import web_site
from web_server import WebServer

_MODULES = (
    "mpm_event authn_core authn_file authz_core authz_user auth_basic"
    " alias cgid deflate env headers lua ratelimit"
).split()

_CONFIGURATION = """\
ServerRoot {folder}
DefaultRuntimeDir {folder}
PidFile apache.pid
Mutex file:{folder} default
ScriptSock {folder}/cgid.sock
ErrorLog error.log
LogLevel info
LogFormat "%k\\t%m\\t%U\\t%>s" columns
CustomLog access.log columns
ServerName 127.0.0.1
Listen {address}
ServerLimit 1
ThreadsPerChild 25
MaxRequestWorkers 25
KeepAlive {keep_alive}
MaxKeepAliveRequests {further_requests_max}
KeepAliveTimeout {idle_secs}
LimitRequestFields 1000
LimitRequestFieldSize 65536
DocumentRoot {folder}
<Directory {folder}>
  Require all granted
</Directory>

Alias /chunked/ {folder}/files/
<Location /chunked/>
  SetHandler lua-script
  LuaMapHandler ^/chunked/ {folder}/site.lua chunked
</Location>
Alias /gzip/ {folder}/files/
<Location /gzip/>
  SetOutputFilter DEFLATE
</Location>
Alias /deflate/ {folder}/deflated/
<Location /deflate/>
  Header set Content-Encoding deflate
</Location>
Alias /private/ {folder}/files/
<Location /private/>
  AuthType Basic
  AuthName peers
  AuthUserFile {folder}/htpasswd
  Require valid-user
</Location>
SetEnv TAKEN {folder}/taken
SetEnv ECHOED yes
ScriptAlias /upload {folder}/take
<Location /upload>
  # A program may not write lines that long.
  Header set X-Echo "expr=%{{req:X-Echo}}" "expr=-n req('X-Echo')"
</Location>
ScriptAlias /limited {folder}/take
<Location /limited>
  LimitRequestBody {limit}
</Location>
ScriptAlias /unpacked {folder}/take
<Location /unpacked>
  SetInputFilter DEFLATE
</Location>
Alias /slow {folder}/files/1m
<Location /slow>
  SetOutputFilter RATE_LIMIT
  SetEnv rate-limit 16
</Location>
Redirect 302 /circle /circle
Redirect 302 /elsewhere {elsewhere}
"""

_LUA = """\
require "apache2"

function chunked(r)  -- what has been flushed has no length any more
  r.content_type = "application/octet-stream"
  r:flush()
  r:sendfile(r.filename)
  return apache2.OK
end

function status(r)
  r.status = tonumber(r.uri:match("%d+$"))
  if r.status ~= 204 then r:puts("status ", r.status) end
  return apache2.OK
end

function many(r)
  for i = 0, MANY - 1 do r.headers_out["X-Many-" .. i] = tostring(i) end
  r:puts("many")
  return apache2.OK
end

function long(r)
  r.headers_out["X-Long"] = string.rep("x", LONG)
  r:puts("long")
  return apache2.OK
end

function cookies(r)
  r:puts("cookies")
  return apache2.OK
end
"""


class Apache(WebServer):
    NAME = "Apache httpd"
    PACKAGES = ("apache2-bin",)
    FIRST = "0"
    FINISH_SIGNAL = signal.SIGWINCH

    def prepare(self):
        web_site.write_site(self)
        web_site.write_take_script(self)
        self.write("htpasswd", web_site.htpasswd_line())
        lua = _LUA.replace("MANY", str(web_site.MANY)).replace("LONG", str(web_site.LONG))
        self.write("site.lua", lua)
        configuration = _CONFIGURATION.format(
            address=self.address,
            elsewhere=web_site.ELSEWHERE,
            folder=self.folder,
            idle_secs=self.idle_secs,
            limit=web_site.LIMIT_BYTES,
            keep_alive="Off" if self.requests_max == 1 else "On",
            further_requests_max=self.requests_max - 1,  # 0 would mean no limit
        )
        self.write("apache.conf", "".join((*_modules(), configuration, *_locations(self.folder))))

    def command(self):
        return ["apache2", "-f", self.folder / "apache.conf", "-D", "FOREGROUND"]


def _modules():
    for name in _MODULES:
        yield f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so\n"


def _locations(folder):
    for path, function in (
        ("/status/", "status"),
        ("/many", "many"),
        ("/long", "long"),
        ("/cookies/", "cookies"),
    ):
        yield f"LuaMapHandler ^{path} {folder}/site.lua {function}\n"
    for status in web_site.REDIRECTS:
        yield f"Redirect {status} /redirect/{status} /upload/landed\n"
    for path, cookies in (
        ("/cookies/set", web_site.COOKIES),
        ("/cookies/delete", [web_site.COOKIE_DELETED]),
    ):
        lines = "".join(f'  Header add Set-Cookie "{cookie}"\n' for cookie in cookies)
        yield f"<Location {path}>\n{lines}</Location>\n"
    for charset in web_site.CHARSETS:
        media = f"Text/Plain; Charset={charset.upper()}"
        yield f'<Location /charset/{charset}>\n  ForceType "{media}"\n</Location>\n'
