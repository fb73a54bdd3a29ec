"""comparisons : what is compared, in groups. The cells of a comparison are measured by turns."""

from dataclasses import dataclass, replace

from clients import CURL, LIFECYCLE, NOTHING, PLUGIN, POCO, SOCKET
from servers import NGINX, OWN
from work import KIB, MIB, Work

GROUPS = (
    "goals",
    "clients",
    "bodies",
    "keys",
    "flush",
    "latency",
    "memory",
    "lifecycle",
)

LIBRARIES = (PLUGIN, SOCKET, POCO, CURL)
CHAINHOST, WRK, UNDICI, GO, SYSLOG = "chainhost", "wrk", "undici", "go", "syslog-ng"
PROGRAMS = (CHAINHOST, WRK, UNDICI, GO, SYSLOG)

_KEYED_CONNECTIONS = 16


@dataclass(frozen=True)
class Cell:
    server: str
    client: str
    work: Work


@dataclass(frozen=True)
class Comparison:
    title: str
    cells: tuple

    def cell(self, client, **values):
        """The one of this client whose work has these values."""
        found = [
            cell
            for cell in self.cells
            if cell.client == client
            and all(getattr(cell.work, name) == value for name, value in values.items())
        ]
        if len(found) != 1:
            raise LookupError(f"{self.title}: {len(found)} cells of {client} with {values}")
        return found[0]


@dataclass(frozen=True)
class Scale:
    """How much of the matrix is measured."""

    connections: tuple = (1, 2, 8, 32, 128)
    bodies: tuple = (0, KIB, 10 * KIB, 100 * KIB, MIB)
    wires: tuple = (False, True)
    keys: tuple = (0, 1, 2, 5, 10, 100)
    delays_ms: tuple = (0, 1, 5)
    flushes: tuple = (0, 10, 100, 1000)
    loads: tuple = (0.1, 0.5, 0.8)  # of the peak rate
    many: int = 128  # workers
    hold_ms: int = 1500  # so long an answer takes while all of them are to get a connection
    programs: tuple = PROGRAMS


FULL = Scale()
# Of each kind something, in seconds.
SHORT = Scale(
    connections=(8,),
    bodies=(0, 100 * KIB),
    keys=(0, 100),
    delays_ms=(0, 1),
    flushes=(0, 100),
    loads=(0.5,),
    many=8,
    hold_ms=20,
    wires=(False,),
    programs=(CHAINHOST,),
)


def _of_clients(work, clients, server=OWN):
    title = str(work) + (f", {server}" if server != OWN else "")
    return Comparison(title, tuple(Cell(server, client, work) for client in clients))


def is_of_clients(comparison):
    """Whether it compares clients, and not works of one client."""
    return len({cell.client for cell in comparison.cells}) > 1


def _of_works(title, client, works):
    return Comparison(title, tuple(Cell(OWN, client, work) for work in works))


def small_post(scale, connections=8, tls=False):
    """1 KiB both ways. Plainly and with 8 connections, the programs take part."""
    clients = LIBRARIES + (scale.programs if connections == 8 and not tls else ())
    return _of_clients(Work(connections, tls=tls), clients)


def upload(size, tls=False):
    return _of_clients(Work(request_bytes=size, response_bytes=0, tls=tls), LIBRARIES)


def download(size, tls=False):
    return _of_clients(Work(request_bytes=0, response_bytes=size, tls=tls), LIBRARIES)


def one_at_a_time(scale):
    works = [Work(count, under_way=1) for count in (1, scale.many)]
    return _of_works("one request at a time beside idle workers", PLUGIN, works)


def keyed(scale, delay_ms):
    base = Work(_KEYED_CONNECTIONS, delay_ms=delay_ms)
    works = [replace(base, keys=keys) for keys in scale.keys]
    return _of_works(f"keys, delay {delay_ms} ms", PLUGIN, works)


def flushed(scale, delay_ms):
    base = Work(_KEYED_CONNECTIONS, delay_ms=delay_ms)
    works = [replace(base, flush_every=flush) for flush in scale.flushes]
    return _of_works(f"flush, delay {delay_ms} ms", PLUGIN, works)


def paced(rate, share):
    """The same steady rate for the plugin, for the socket loop, and for threads that ask nothing:
    what the system alone makes late."""
    comparison = _of_clients(Work(rate=rate), (PLUGIN, SOCKET, NOTHING))
    return replace(comparison, title=f"{share:.0%} of the peak rate")


def idle(scale, tls):
    works = [Work(count, tls=tls, delay_ms=scale.hold_ms) for count in (1, scale.many)]
    return _of_works(f"idle workers, {'TLS' if tls else 'plain'}", LIFECYCLE, works)


def _of_nginx(scale):
    small = LIBRARIES + tuple(name for name in scale.programs if name == WRK)
    return [
        _of_clients(Work(), small, NGINX),
        _of_clients(Work(tls=True), LIBRARIES, NGINX),
        _of_clients(Work(request_bytes=0, response_bytes=100 * KIB), LIBRARIES, NGINX),
    ]


def comparisons_of(group, scale):
    """Those of a group. What is measured at a share of the peak rate follows from the peak: the
    group "latency" names what tells it; see paced_comparisons()."""
    idles = [idle(scale, tls) for tls in (False, True)]
    return {
        "goals": lambda: [
            small_post(scale, 1),
            small_post(scale),
            small_post(scale, tls=True),
            upload(100 * KIB),
            download(100 * KIB),
            download(MIB),
            one_at_a_time(scale),
            keyed(scale, 1),
            *idles,
        ],
        "clients": lambda: [
            *(small_post(scale, count, tls) for tls in scale.wires for count in scale.connections),
            *_of_nginx(scale),
        ],
        "bodies": lambda: [
            *(upload(size, tls) for tls in scale.wires for size in scale.bodies if size),
            *(download(size, tls) for tls in scale.wires for size in scale.bodies),
        ],
        "keys": lambda: [keyed(scale, delay_ms) for delay_ms in scale.delays_ms],
        "flush": lambda: [flushed(scale, delay_ms) for delay_ms in scale.delays_ms],
        "latency": lambda: [small_post(scale)],
        "memory": lambda: idles,
        "lifecycle": lambda: idles,
    }[group]()


def shares_of(groups, scale):
    """At which shares of the peak rate these groups measure."""
    if "latency" in groups:
        return scale.loads
    return (0.5,) if "goals" in groups else ()


def paced_comparisons(peak, shares):
    return [paced(peak * share, share) for share in shares]
