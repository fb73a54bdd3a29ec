"""web_site : what the cases ask of a web server, whichever it is.

| Path | Answer |
|---|---|
| /files/NAME | that content, with its length |
| /chunked/NAME | the same in chunks |
| /gzip/NAME, /deflate/NAME | the same in that coding |
| /upload | takes any method and body; its header fields are below |
| /limited | like /upload, up to a body of LIMIT_BYTES |
| /redirect/STATUS | that status, to /upload/landed |
| /circle | 302, to itself |
| /elsewhere | 302, to another server |
| /cookies/set, /cookies/delete | two cookies; the first of them taken back |
| /private/NAME | that content, for USER with PASSWORD |
| /status/STATUS | that status |
| /many | MANY header fields: X-Many-0, X-Many-1 and so on, each with its number |
| /long | X-Long: LONG times the letter x |
| /charset/CHARSET | CHARSET_TEXT in that character set |
| /slow | the content "1m", for a minute; that it has begun, is a line of the access log: /begun |

/upload answers with X-Method, with X-Stored, a file with the body if there was one, and with what
the request had in Cookie, X-Echo and Content-Type as X-Cookie, X-Echo and X-Type.
"""

import base64
import functools
import hashlib
import tempfile
import zlib
from pathlib import Path

from content import SIZES, content

USER, PASSWORD = "gateway", "sesame: öffne dich"
LIMIT_BYTES = 64 * 1024
REDIRECTS = (301, 302, 303, 307, 308)
STATUSES = (201, 204, 400, 403, 404, 409, 410, 429, 500, 502, 503, 504)
ELSEWHERE = "http://192.0.2.1/"  # an address that is nobody's
COOKIES = ("session=c0ffee; Path=/; HttpOnly", "theme=dark; Max-Age=3600")
COOKIE_DELETED = "session=; Path=/; Max-Age=0"
MANY = 150
LONG = 30_000
CHARSETS = ("utf-8", "iso-8859-1", "utf-16le", "windows-1252")
CHARSET_TEXT = "Größe 5 µm, déjà vu"


def stored_body(response):
    """What the server has kept of the request's body."""
    file = response.headers.get("x-stored")
    return Path(file).read_bytes() if file else b""


def write_site(peer):
    """The files of the site in a peer's folder: files/, deflated/ and charset/."""
    site = Path(_site().name)
    for file in site.rglob("*"):
        if file.is_file():
            link = peer.folder / file.relative_to(site)
            link.parent.mkdir(exist_ok=True)
            link.hardlink_to(file)


@functools.cache
def _site():
    """They are the same for all peers, and made once."""
    folder = tempfile.TemporaryDirectory(prefix="site-")
    files = {f"files/{name}": content(name) for name in SIZES}
    files |= {f"deflated/{name}": zlib.compress(content(name), 1) for name in SIZES}
    files |= {f"charset/{charset}": CHARSET_TEXT.encode(charset) for charset in CHARSETS}
    for name, text in files.items():
        file = Path(folder.name, name)
        file.parent.mkdir(exist_ok=True)
        file.write_bytes(text)
    return folder


# For servers that run programs. They give it a folder for the bodies as TAKEN, and something as
# ECHOED if they answer with X-Echo themselves.
TAKE_SCRIPT = """\
#!/bin/sh
stored=$(mktemp -p "$TAKEN")
cat >"$stored"
printf 'Content-Type: text/plain\\r\\nX-Method: %s\\r\\n' "$REQUEST_METHOD"
[ ! -s "$stored" ] || printf 'X-Stored: %s\\r\\n' "$stored"
[ -z "$HTTP_COOKIE" ] || printf 'X-Cookie: %s\\r\\n' "$HTTP_COOKIE"
[ -z "$HTTP_X_ECHO" ] || [ -n "$ECHOED" ] || printf 'X-Echo: %s\\r\\n' "$HTTP_X_ECHO"
[ -z "$CONTENT_TYPE" ] || printf 'X-Type: %s\\r\\n' "$CONTENT_TYPE"
printf '\\r\\ntaken'
"""


def write_take_script(peer):
    """The program that stands for /upload, and a folder "taken" for what it takes."""
    peer.write("taken/.keep", "")
    script = peer.write("take", TAKE_SCRIPT)
    script.chmod(0o755)
    return script


def htpasswd_line():
    """USER with PASSWORD, as web servers keep it."""
    digest = base64.b64encode(hashlib.sha1(PASSWORD.encode()).digest()).decode("ascii")
    return f"{USER}:{{SHA}}{digest}\n"
