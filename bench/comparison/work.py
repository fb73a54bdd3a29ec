"""work : what one run of a client does; the same words as bench/comparison/work.h."""

from dataclasses import dataclass

KIB = 1024
MIB = 1024 * KIB


@dataclass(frozen=True)
class Work:
    connections: int = 8
    request_bytes: int = KIB  # 0: a GET
    response_bytes: int = KIB
    tls: bool = False
    delay_ms: int = 0  # before the server answers
    rate: float = 0  # requests a second; 0: as fast as they are answered
    under_way: int = 0  # at most so many; 0: as many as the plugin takes
    keys: int = 0
    flush_every: int = 0

    @property
    def target(self):
        return f"/answer/{self.response_bytes}/{self.delay_ms}"

    @property
    def method(self):
        return "POST" if self.request_bytes else "GET"

    def words(self):
        """The options of compare_client."""
        values = {
            "--connections": self.connections,
            "--request-bytes": self.request_bytes,
            "--response-bytes": self.response_bytes,
            "--delay": self.delay_ms,
            "--rate": f"{self.rate:.1f}",
            "--under-way": self.under_way,
            "--keys": self.keys,
            "--flush-every": self.flush_every,
        }
        return [word for name, value in values.items() for word in (name, str(value))]

    def __str__(self):
        words = [f"{self.connections} connection{'' if self.connections == 1 else 's'}"]
        words.append(f"{self.method} {size_text(self.request_bytes or self.response_bytes)}")
        if self.request_bytes:
            words.append(f"answer {size_text(self.response_bytes)}")
        words.append("TLS" if self.tls else "plain")
        if self.delay_ms:
            words.append(f"delay {self.delay_ms} ms")
        if self.rate:
            words.append(f"{self.rate:.0f} requests/s")
        if self.under_way:
            words.append(f"{self.under_way} under way")
        if self.keys:
            words.append(f"{self.keys} key{'' if self.keys == 1 else 's'}")
        if self.flush_every:
            words.append(f"flush every {self.flush_every}")
        return ", ".join(words)


def size_text(count):
    """A number of bytes as people write it."""
    for unit, name in ((MIB, "MiB"), (KIB, "KiB")):
        if count >= unit and count % unit == 0:
            return f"{count // unit} {name}"
    return f"{count} B"
