"""Tinyproxy between the plugin and nginx."""

import proxy_cases
from nginx import Nginx
from tinyproxy import Tinyproxy

PEERS = (Tinyproxy, Nginx)


class TestPlain(proxy_cases.PlainCases):
    PROXY = Tinyproxy


class TestTunnels(proxy_cases.TunnelCases):
    PROXY = Tinyproxy
