"""tls_nginx : nginx with the site of web_site.py behind TLS."""

import signal
import zlib
from dataclasses import dataclass

import waiting
from nginx import Nginx

# Each request is a line of tls.log, too.
_DIRECTIVES = """
  ssl_certificate chain.pem;
  ssl_certificate_key key.pem;
  log_format tls '$ssl_protocol\\t$ssl_cipher\\t$ssl_server_name';
  access_log tls.log tls;
"""


@dataclass(frozen=True)
class TlsLine:
    protocol: str
    cipher: str
    server_name: str  # that the client has named; "-" if none


class TlsNginx(Nginx):
    """Shows an identity of certificates.py."""

    def __init__(self, identity, directives="", protocols="TLSv1.2 TLSv1.3", **limits):
        self._identity = identity
        more = f"ssl_protocols {protocols}; {directives}"
        super().__init__(f"{_DIRECTIVES}{more}", listen="ssl", **limits)

    def prepare(self):
        super().prepare()
        self._write_identity()

    def trust(self, *certificates):
        """The plugin's configuration for this server, when these are its authorities."""
        text = b"".join(certificates)
        file = self.write(f"authorities-{zlib.crc32(text):08x}.pem", text)
        return {"tls": True, "tlsCertificateAuthorityFile": str(file)}

    def show(self, identity):
        """Another identity from now on. Connections that are idle are closed."""
        self._identity = identity
        self._write_identity()
        ended = self._ended_workers()
        self.signal(signal.SIGHUP)
        waiting.until("who shows the old one ends", lambda: self._ended_workers() > ended)

    def tls_log(self):
        """The requests in the order in which their answers ended."""
        return [TlsLine(*line.split("\t")) for line in self.log_lines("tls.log")]

    def alerts(self):
        """What clients have complained about, as the TLS library words it."""
        return [
            line.split(" alert ")[1].split(":")[0]
            for line in self.log_lines("error.log")
            if " alert " in line
        ]

    def _ended_workers(self):
        return sum("exited with code" in line for line in self.log_lines("error.log"))

    def _write_identity(self):
        self.write("chain.pem", self._identity.chain)
        self.write("key.pem", self._identity.key)
