// Headers of a message in which the plugin, a proxy or the connection has a say too.
#include <gtest/gtest.h>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

class WireOwnHeadersTest : public WireTable {};

TEST_P(WireOwnHeadersTest, BecomeExactlyTheseBytes) { compare(); }

const WireCase kOwn[] = {
    {"Host",
     [] {
       return with({{"HOST", "elsewhere.example:81"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "host: elsewhere.example:81\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "\r\n"},
    {"AnEmptyHost",
     [] {
       return with({{"Host", ""}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "host: \r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "\r\n"},
    {"ContentLength",
     [] {
       return with({{"Content-Length", "99"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"ContentLengthWithoutABody",
     [] {
       return with({{"Content-Length", "99"}}, "HEAD");
     },
     "HEAD / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Chunked",
     [] {
       return with({{"Transfer-Encoding", "chunked"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Transfer-Encoding: chunked\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "4\r\n"
     "body\r\n"
     "0\r\n"
     "\r\n"},
    {"ChunkedInOtherLetters",
     [] {
       return with({{"Transfer-Encoding", " CHUNKED\t"}, {"Content-Length", "4"}}, "PUT", "body");
     },
     "PUT / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Transfer-Encoding: chunked\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "4\r\n"
     "body\r\n"
     "0\r\n"
     "\r\n"},
    {"ChunkedWithoutABody",
     [] {
       return with({{"Transfer-Encoding", "chunked"}}, "DELETE");
     },
     "DELETE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AnotherTransferEncoding",
     [] {
       return with({{"Transfer-Encoding", "gzip, chunked"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Gzip",
     [] {
       return with({{"Transfer-Encoding", "gzip"}}, "GET", "body");
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"ConnectionClose",
     [] {
       return with({{"Connection", "close"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "connection: close\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ConnectionKeepAlive",
     [] {
       return with({{"Connection", "Keep-Alive"}, {"Keep-Alive", "9"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "connection: Keep-Alive\r\n"
     "keep-alive: 9\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ConnectionUpgrade",
     [] {
       return with({{"Connection", "Upgrade"}, {"Upgrade", "h2c"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "connection: Upgrade\r\n"
     "upgrade: h2c\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Cookie",
     [] {
       return with({{"Cookie", "a=1;b"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "cookie: a=1;b\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Authorization",
     [] {
       return with({{"Authorization", "Bearer abc=="}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "authorization: Bearer abc==\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ProxyAuthorization",
     [] {
       return with({{"Proxy-Authorization", "Basic Og=="}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "proxy-authorization: Basic Og==\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ProxyConnection",
     [] {
       return with({{"Proxy-Connection", "close"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "proxy-connection: close\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Expect",
     [] {
       return with({{"Expect", "100-continue"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "expect: 100-continue\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"UserAgent",
     [] {
       return with({{"User-Agent", "mine/1 (x)"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: mine/1 (x)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AcceptEncoding",
     [] {
       return with({{"Accept-Encoding", "br"}, {"Accept", "a/b"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept: a/b\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: br\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AcceptCharset",
     [] {
       return with({{"accept-charset", ""}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: \r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ContentType",
     [] {
       return with({{"Content-Type", "Text/Plain; Charset=X"}}, "POST", "b");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: Text/Plain; Charset=X\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 1\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "b"},
    {"ContentTypeWithoutABody",
     [] {
       return with({{"Content-Type", "a/b"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: a/b\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ContentEncodingIdentity",
     [] {
       return with({{"Content-Encoding", " "}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-encoding: identity\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Trailer",
     [] {
       return with({{"Trailer", "x"}, {"TE", "trailers"}}, "POST", "body");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "te: trailers\r\n"
     "trailer: x\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
};

INSTANTIATE_TEST_SUITE_P(Own, WireOwnHeadersTest, testing::ValuesIn(kOwn), wireCaseName);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
