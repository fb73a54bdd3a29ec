"""certificates : authorities and what they certify. The keys are new in every run."""

import ipaddress
from dataclasses import dataclass
from datetime import datetime, timedelta

from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec
from cryptography.x509.oid import NameOID

from loopback import ADDRESS

_DAY = timedelta(days=1)
VALID = (-_DAY, _DAY)  # from and until when, seen from now
EXPIRED = (-2 * _DAY, -_DAY)
NOT_YET_VALID = (_DAY, 2 * _DAY)


@dataclass(frozen=True)
class Identity:
    """What a server shows, its own certificate first, and its key; both as PEM."""

    chain: bytes
    key: bytes

    def certificate(self):
        """Its own alone."""
        end = b"-----END CERTIFICATE-----\n"
        return self.chain[: self.chain.index(end) + len(end)]

    def followed_by(self, issuer):
        """The same, showing the certificate of its issuer as well."""
        return Identity(self.chain + issuer.certificate(), self.key)


class Authority:
    """Certifies servers, and authorities below it. Without an issuer it is a root."""

    def __init__(self, name, issuer=None):
        self._key = _new_key()
        self._name = _name(name)
        issuer = issuer or self
        builder = _builder(self._name, issuer._name, self._key, VALID).add_extension(
            x509.BasicConstraints(ca=True, path_length=None), critical=True
        )
        self._certificate = _pem(builder.sign(issuer._key, hashes.SHA256()))

    def certificate(self):
        return self._certificate

    def identity(self, subject="peer", names=(), addresses=(ADDRESS,), validity=VALID):
        """A server's, with alternative names and addresses. Certificate only: no issuer's."""
        key = _new_key()
        return _identity(key, self._key, self._name, subject, names, addresses, validity)


def self_signed(subject="peer", addresses=(ADDRESS,)):
    """A server's own word for it."""
    key = _new_key()
    return _identity(key, key, _name(subject), subject, (), addresses, VALID)


def forged_by(server, subject):
    """What a server signs that is no authority, with its own key."""
    key = _new_key()
    issuer_key = serialization.load_pem_private_key(server.key, None)
    return _identity(key, issuer_key, _name(subject), "peer", (), (ADDRESS,), VALID)


def _identity(key, issuer_key, issuer_name, subject, names, addresses, validity):
    builder = _builder(_name(subject), issuer_name, key, validity)
    alternatives = [x509.DNSName(name) for name in names]
    alternatives += [x509.IPAddress(ipaddress.ip_address(address)) for address in addresses]
    if alternatives:
        builder = builder.add_extension(x509.SubjectAlternativeName(alternatives), critical=False)
    private = key.private_bytes(
        serialization.Encoding.PEM,
        serialization.PrivateFormat.PKCS8,
        serialization.NoEncryption(),
    )
    return Identity(_pem(builder.sign(issuer_key, hashes.SHA256())), private)


def _builder(subject, issuer, key, validity):
    now = datetime.utcnow()
    return (
        x509.CertificateBuilder()
        .subject_name(subject)
        .issuer_name(issuer)
        .public_key(key.public_key())
        .serial_number(x509.random_serial_number())
        .not_valid_before(now + validity[0])
        .not_valid_after(now + validity[1])
    )


def _new_key():
    return ec.generate_private_key(ec.SECP256R1())


def _name(common_name):
    return x509.Name([x509.NameAttribute(NameOID.COMMON_NAME, common_name)])


def _pem(certificate):
    return certificate.public_bytes(serialization.Encoding.PEM)
