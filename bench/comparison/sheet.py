"""sheet : every run as a line of CSV."""

import csv

from clients import FIGURES

_OTHER_FIGURES = ("residentKib", "createMillis", "endMillis")
_HEADER = (
    "comparison",
    "server",
    "client",
    "connections",
    "requestBytes",
    "responseBytes",
    "tls",
    "delayMs",
    "pace",
    "underWay",
    "keys",
    "flushEvery",
    "round",
    "requests",
    *FIGURES,
    *_OTHER_FIGURES,
)


def write_runs(file, runs):
    with open(file, "w", encoding="utf-8", newline="") as out:
        writer = csv.writer(out)
        writer.writerow(_HEADER)
        for comparison, cell, number, figures in runs.rows():
            work = cell.work
            writer.writerow(
                [
                    comparison.title,
                    cell.server,
                    cell.client,
                    work.connections,
                    work.request_bytes,
                    work.response_bytes,
                    int(work.tls),
                    work.delay_ms,
                    f"{work.rate:.1f}",
                    work.under_way,
                    work.keys,
                    work.flush_every,
                    number,
                    figures.get("requests", ""),
                    *(_cell(figures.get(name)) for name in (*FIGURES, *_OTHER_FIGURES)),
                ]
            )


def write_table(file, table):
    with open(file, "w", encoding="utf-8", newline="") as out:
        writer = csv.writer(out)
        writer.writerow(table.header)
        writer.writerows(table.rows)


def _cell(value):
    return "" if value is None else value
