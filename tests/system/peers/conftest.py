"""Fixtures of all cases, what a failed one shows, and the results for the page of compatibility."""

import dataclasses
import json
import os
import tempfile
from pathlib import Path

import pytest

pytest.register_assert_rewrite(
    *(f"{kind}_cases" for kind in ("connection", "exchange", "header", "payload", "proxy", "tls"))
)

import content  # noqa: E402
from chainhost import Chainhost  # noqa: E402
from compatibility import Result, row_of  # noqa: E402
from peer import Peer, version_of  # noqa: E402

_LOG_CHARACTERS_MAX = 20_000
_results = []


def pytest_addoption(parser):
    parser.addoption("--chainhost", required=True, help="the built program")
    parser.addoption(
        "--long",
        action="store_true",
        default=os.environ.get("PEERS_LONG") == "1",
        help="runs the long cases as well; so does PEERS_LONG=1 in the environment",
    )
    parser.addoption("--results", metavar="FILE", help="keeps the results for compatibility.py")


def pytest_configure(config):
    if config.getoption("--long"):
        content.SIZES.update(content.LONG_SIZES)


def pytest_collection_modifyitems(config, items):
    if config.getoption("--long"):
        return
    long = [item for item in items if item.get_closest_marker("long")]
    items[:] = [item for item in items if item not in long]
    config.hook.pytest_deselected(items=long)


@pytest.fixture
def chainhost(request):
    with tempfile.TemporaryDirectory(prefix="chainhost-") as folder:
        yield Chainhost(request.config.getoption("--chainhost"), folder)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.when == "call" or report.failed:
        _keep_result(item, report)
    if report.failed:
        _show_logs(item, report)


def _show_logs(item, report):
    logs = [
        (f"{peer.NAME}: {name}", text)
        for peer in Peer.running
        for name, text in peer.logs().items()
    ]
    program = getattr(item, "funcargs", {}).get("chainhost")
    if program:
        logs += program.logs().items()
    for name, text in logs:
        report.sections.append((name, text[-_LOG_CHARACTERS_MAX:]))


def _keep_result(item, report):
    row = row_of(item)
    if row:
        packages = [name for peer in item.module.PEERS for name in peer.PACKAGES]
        versions = ", ".join(version_of(name) for name in packages)
        _results.append(Result(*row, versions, item.name, report.passed))


def pytest_sessionfinish(session):
    file = session.config.getoption("--results")
    if file:
        fields = [dataclasses.asdict(result) for result in _results]
        Path(file).write_text(json.dumps(fields, indent=1), encoding="utf-8")
