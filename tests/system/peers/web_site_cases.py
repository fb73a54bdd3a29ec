"""web_site_cases : the cases that every server of the site runs.

For `from web_site_cases import *`: pytest runs the classes that a module of tests has.
"""

import exchange_cases
import header_cases
import payload_cases

__all__ = [
    "TestMethods",
    "TestBodies",
    "TestSmallChunks",
    "TestChunks",
    "TestCodings",
    "TestCookies",
    "TestRedirects",
    "TestAuthentication",
    "TestHeaders",
    "TestCharsets",
    "TestUploads",
    "TestPackedBodies",
]


class TestMethods(exchange_cases.MethodCases):
    pass


class TestBodies(exchange_cases.BodyCases):
    pass


class TestSmallChunks(exchange_cases.SmallChunkCases):
    pass


class TestChunks(exchange_cases.ChunkCases):
    pass


class TestCodings(exchange_cases.CodingCases):
    pass


class TestCookies(exchange_cases.CookieCases):
    pass


class TestRedirects(exchange_cases.RedirectCases):
    pass


class TestAuthentication(exchange_cases.AuthenticationCases):
    pass


class TestHeaders(header_cases.HeaderCases):
    pass


class TestCharsets(header_cases.CharsetCases):
    pass


class TestUploads(payload_cases.UploadCases):
    pass


class TestPackedBodies(payload_cases.PackedBodyCases):
    pass
