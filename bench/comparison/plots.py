"""plots : pictures of the figures, drawn by gnuplot."""

import shutil
from dataclasses import dataclass

import comparisons
import program
from clients import PLUGIN
from comparisons import LIBRARIES
from runs import MissingError
from tables import name_of
from work import KIB, size_text

_COLOURS = {"plugin": "#1b6ca8", "socket": "#555555", "poco": "#d1701f", "curl": "#3a8a3a"}


@dataclass(frozen=True)
class Line:
    name: str
    colour: str
    points: tuple  # (x, low, middle, high): quartiles


@dataclass(frozen=True)
class Plot:
    group: str  # whose part of the page shows it
    file: str
    title: str
    x: str
    y: str
    ticks: tuple  # (position, text)
    lines: tuple
    is_logarithmic: bool = False


def missing():
    return None if shutil.which("gnuplot") else "gnuplot is not installed"


def plots_of(runs, scale):
    """Those whose figures are there."""
    plots = [
        *(_connections(runs, scale, tls) for tls in scale.wires),
        *(_bodies(runs, scale, tls, is_up) for tls in scale.wires for is_up in (True, False)),
        _keys(runs, scale),
        _latency(runs, scale),
    ]
    return [plot for plot in plots if any(line.points for line in plot.lines)]


def draw(plot, folder):
    """Writes its SVG file into a folder."""
    source = folder / (plot.file + ".gnuplot")
    source.write_text(script(plot, folder / (plot.file + ".svg")), encoding="utf-8")
    try:
        program.run(["gnuplot", source])
    finally:
        source.unlink()


def script(plot, file):
    """What gnuplot is told."""
    lines = [line for line in plot.lines if line.points]
    # The text of a tick is a format of numbers, too.
    ticks = ", ".join(f"'{text.replace('%', '%%')}' {position}" for position, text in plot.ticks)
    words = [
        "set terminal svg size 640,400 font 'sans-serif,12' background '#ffffff'",
        f"set output '{file}'",
        f"set title '{plot.title}'",
        f"set xlabel '{plot.x}'",
        f"set ylabel '{plot.y}'",
        f"set xtics ({ticks})",
        f"set xrange [-0.25:{len(plot.ticks) - 0.75}]",
        "set logscale y" if plot.is_logarithmic else "set yrange [0:*]",
        "set format y '%.1s%c'",
        "set grid ytics lc '#dddddd'",
        "set key outside below",
    ]
    for number, line in enumerate(lines):
        words.append(f"$line{number} << END")
        words += [" ".join(f"{value:g}" for value in point) for point in line.points]
        words.append("END")
    drawn = [
        f"$line{number} using 1:3:2:4 with yerrorlines lw 2 pt 7 ps 0.5 lc '{line.colour}' "
        f"title '{line.name}'"
        for number, line in enumerate(lines)
    ]
    words.append("plot " + ", ".join(drawn))
    return "\n".join(words) + "\n"


def _wire(tls):
    return "TLS" if tls else "plain"


# A line a client: each comparison gives a point, at its number.
def _client_lines(runs, ordered, clients, name="rate", factors=None):
    lines = []
    for client in clients:
        points = []
        for position, comparison in enumerate(ordered):
            factor = factors[position] if factors else 1
            points += _point(runs, comparison, comparison.cell(client), name, position, factor)
        lines.append(Line(name_of(client), _COLOURS[client], tuple(points)))
    return tuple(lines)


def _point(runs, comparison, cell, name, position, factor=1.0):
    try:
        found = runs.quartiles(comparison, cell, name)
    except MissingError:
        return []
    return [(position, found.low * factor, found.median * factor, found.high * factor)]


def _connections(runs, scale, tls):
    ordered = [comparisons.small_post(scale, count, tls) for count in scale.connections]
    return Plot(
        "clients",
        f"connections-{_wire(tls).lower()}",
        f"1 KiB POST, 1 KiB answer, {_wire(tls)}",
        "connections",
        "requests/s",
        tuple(enumerate(map(str, scale.connections))),
        _client_lines(runs, ordered, LIBRARIES),
    )


def _bodies(runs, scale, tls, is_up):
    sizes = [size for size in scale.bodies if size >= KIB]
    ordered = [(comparisons.upload if is_up else comparisons.download)(size, tls) for size in sizes]
    return Plot(
        "bodies",
        f"{'upload' if is_up else 'download'}-{_wire(tls).lower()}",
        f"{'Bodies of requests' if is_up else 'Bodies of answers'}, 8 connections, {_wire(tls)}",
        "body",
        "bytes/s",
        tuple(enumerate(map(size_text, sizes))),
        _client_lines(runs, ordered, LIBRARIES, factors=sizes),
        is_logarithmic=True,
    )


def _keys(runs, scale):
    colours = ("#1b6ca8", "#d1701f", "#3a8a3a")
    lines = []
    for delay_ms, colour in zip(scale.delays_ms, colours):
        comparison = comparisons.keyed(scale, delay_ms)
        points = []
        for position, cell in enumerate(comparison.cells):
            points += _point(runs, comparison, cell, "rate", position)
        lines.append(Line(f"delay {delay_ms} ms", colour, tuple(points)))
    ticks = tuple((i, str(keys or "none")) for i, keys in enumerate(scale.keys))
    title = "Keys, 16 clients, 1 KiB POST"
    return Plot("keys", "keys", title, "keys", "requests/s", ticks, tuple(lines))


def _latency(runs, scale):
    titles = [comparisons.paced(0, share).title for share in scale.loads]
    ordered = [
        comparison
        for title in titles
        for comparison in runs.comparisons
        if comparison.title == title
    ]
    lines = _client_lines(runs, ordered, (PLUGIN, "socket"), "p99Micros")
    ticks = tuple((i, f"{share:.0%}") for i, share in enumerate(scale.loads))
    title = "p99 of the latency at a steady rate, 8 connections, 1 KiB POST"
    return Plot("latency", "latency", title, "of the peak rate", "µs", ticks, lines)
