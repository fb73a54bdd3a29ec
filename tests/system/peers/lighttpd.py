"""lighttpd : the web server lighttpd, offering the site of web_site.py."""

import signal

import web_site
from web_server import WebServer

_CONFIGURATION = """\
server.modules = (
  "mod_accesslog", "mod_alias", "mod_auth", "mod_authn_file", "mod_cgi", "mod_deflate",
  "mod_redirect", "mod_setenv"
)
server.document-root = "{folder}"
server.bind = "127.0.0.1"
server.port = {port}
server.errorlog = "{folder}/error.log"
server.upload-dirs = ("{folder}")
server.http-parseopts = ("method-get-body" => "enable")
server.max-request-field-size = 65536
server.max-keep-alive-requests = {further_requests_max}
server.max-keep-alive-idle = {idle_secs}
server.stream-response-body = 1
accesslog.filename = "{folder}/access.log"
accesslog.format = "%k\\t%m\\t%U\\t%>s"
mimetype.assign = ("" => "application/octet-stream")
alias.url = (
  "/chunked/" => "{folder}/site/chunked/",
  "/gzip/" => "{folder}/files/",
  "/deflate/" => "{folder}/files/",
  "/private/" => "{folder}/files/",
  "/upload" => "{folder}/take",
  "/limited" => "{folder}/take",
  "/slow" => "{folder}/files/1m"
)
$HTTP["url"] =~ "^/(chunked|status|cookies|many|long)" {{
  alias.url = ("/" => "{folder}/site/")
  cgi.assign = ("" => "")
}}
$HTTP["url"] =~ "^/(upload|limited)" {{
  setenv.add-environment = ("TAKEN" => "{folder}/taken")
  cgi.assign = ("" => "")
}}
$HTTP["url"] == "/limited" {{ server.max-request-size = {limit_kib} }}
$HTTP["url"] == "/slow" {{ connection.kbytes-per-second = 16 }}
$HTTP["url"] =^ "/gzip/" {{
  deflate.mimetypes = ("application/octet-stream")
  deflate.allowed-encodings = ("gzip")
}}
$HTTP["url"] =^ "/deflate/" {{
  deflate.mimetypes = ("application/octet-stream")
  deflate.allowed-encodings = ("deflate")
}}
auth.backend = "htpasswd"
auth.backend.htpasswd.userfile = "{folder}/htpasswd"
auth.require = ("/private/" =>
  ("method" => "basic", "realm" => "peers", "require" => "valid-user")
)
"""

# What the server has no directives for.
_SITE_SCRIPT = """\
#!/bin/sh
end() {{ printf '\\r\\n'; }}
case $REQUEST_URI in
  /chunked/*) end; cat "{folder}/files/${{REQUEST_URI#/chunked/}}" ;;
  /status/204) printf 'Status: 204\\r\\n'; end ;;
  /status/*) printf 'Status: %s\\r\\n' "${{REQUEST_URI#/status/}}"; end; echo status ;;
  /cookies/set) {set_cookies} end; echo set ;;
  /cookies/delete) {delete_cookie} end; echo deleted ;;
  /many)
    i=0
    while [ $i -lt {many} ]; do printf 'X-Many-%s: %s\\r\\n' $i $i; i=$((i + 1)); done
    end; echo many ;;
  /long) printf 'X-Long: '; head -c {long} /dev/zero | tr '\\0' x; end; end; echo long ;;
esac
"""


class Lighttpd(WebServer):
    NAME = "lighttpd"
    PACKAGES = ("lighttpd",)
    FIRST = "0"
    FINISH_SIGNAL = signal.SIGINT

    def prepare(self):
        web_site.write_site(self)
        web_site.write_take_script(self)
        self.write("htpasswd", web_site.htpasswd_line())
        self.write("site", self._site_script()).chmod(0o755)
        configuration = _CONFIGURATION.format(
            folder=self.folder,
            idle_secs=self.idle_secs,
            limit_kib=web_site.LIMIT_BYTES // 1024,
            port=self.port,
            further_requests_max=self.requests_max - 1,
        )
        self.write("lighttpd.conf", "".join((configuration, *_locations())))

    def command(self):
        return ["lighttpd", "-D", "-f", self.folder / "lighttpd.conf"]

    def _site_script(self):
        def fields(*cookies):
            return " ".join(f"printf 'Set-Cookie: {cookie}\\r\\n';" for cookie in cookies)

        return _SITE_SCRIPT.format(
            delete_cookie=fields(web_site.COOKIE_DELETED),
            folder=self.folder,
            long=web_site.LONG,
            many=web_site.MANY,
            set_cookies=fields(*web_site.COOKIES),
        )


def _locations():
    redirects = [
        ("/circle", 302, "/circle"),
        ("/elsewhere", 302, web_site.ELSEWHERE),
        *((f"/redirect/{status}", status, "/upload/landed") for status in web_site.REDIRECTS),
    ]
    for path, status, location in redirects:
        yield f'$HTTP["url"] == "{path}" {{\n  url.redirect = ("" => "{location}")\n'
        yield f"  url.redirect-code = {status}\n}}\n"
    for charset in web_site.CHARSETS:
        media = f"Text/Plain; Charset={charset.upper()}"
        yield f'$HTTP["url"] == "/charset/{charset}" {{ mimetype.assign = ("" => "{media}") }}\n'
