// The headers of a message on the wire: their order, their letters, their values.
#include <gtest/gtest.h>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

class WireHeadersTest : public WireTable {};
class WireOddBytesTest : public WireFixture {
 protected:
  /// All that a server receives which looks for nothing but the end of the head.
  std::string received(RequestMessage&& message) {
    std::string bytes;
    ScriptedServer server([&](Connection& connection) {
      const auto receive = [&] {
        const std::string some = connection.readSome();
        bytes += some;
        return !some.empty();
      };
      while (!bytes.ends_with("\r\n\r\n") && receive()) {
      }
      connection.send(kEmptyAnswer);
      while (receive()) {
      }
    });
    connectTo(server.port());
    EXPECT_EQ(status(perform(message)), 200);
    exchange_->close();
    server.waitForFinishedConnections(1);
    return named(bytes);
  }
};

TEST_P(WireHeadersTest, BecomeExactlyTheseBytes) { compare(); }

const WireCase kHeaders[] = {
    {"LeaveInTheOrderOfTheirNames",
     [] {
       return with({{"Z-Last", "1"},
                    {"x-b", "2"},
                    {"X-A", "3"},
                    {"b", "4"},
                    {"A-", "5"},
                    {"x_a", "6"},
                    {"x", "7"},
                    {"X-a1", "8"},
                    {"date", "9"},
                    {"Via", "10"}});
     },
     "GET / HTTP/1.1\r\n"
     "a-: 5\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "b: 4\r\n"
     "date: 9\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "via: 10\r\n"
     "x: 7\r\n"
     "x-a: 3\r\n"
     "x-a1: 8\r\n"
     "x-b: 2\r\n"
     "x_a: 6\r\n"
     "z-last: 1\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"LeaveInSmallLetters",
     [] {
       return with({{"X-MiXeD", "KePt"}, {"ETAG!#$%&'*+.^`|~9", "v"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "etag!#$%&'*+.^`|~9: v\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x-mixed: KePt\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AreGoneWhenSetTwice",
     [] {
       return with({{"X-A", "1"}, {"x-a", "2"}, {"y", "3"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "y: 3\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AreTheDefaultsWhenThoseAreSetTwice",
     [] {
       return with({{"User-Agent", "1"}, {"user-agent", "2"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"MayBeEmpty",
     [] {
       return with({{"x", ""}, {"y", " "}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: \r\n"
     "y:  \r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"KeepTheirBlanks",
     [] {
       return with({{"x", "  a  b\t"}, {"y", "\tc "}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x:   a  b\t\r\n"
     "y: \tc \r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"LoseTheirLineBreaks",
     [] {
       return with({{"x\r\n", "\r\na\r\n b\n"}, {"y\n", "\r"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: a b\r\n"
     "y: \r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AreOfLatin1",
     [] {
       return with({{"x", "\xC2\xA0\xC3\xA9\xC3\xBF"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: \xA0\xE9\xFF\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"KeepEncodedWordsAndQuotes",
     [] {
       return with({{"x", "=?UTF-8?Q?=C3=A9?="}, {"y", "\"a, b\"; c=\"d\\\"\""}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: =?UTF-8?Q?=C3=A9?=\r\n"
     "y: \"a, b\"; c=\"d\\\"\"\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AreTextOfOtherKinds",
     [] {
       RequestMessage message("GET", "/", "");
       message.header("i", data_t(std::int64_t{-12})).header("b", data_t(true));
       message.header("d", data_t(0.5));
       return message;
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "b: true\r\n"
     "d: 0.5\r\n"
     "i: -12\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AreAsLongAsTheyAre",
     [] {
       return with({{"x", std::string(70'000, 'v').c_str()}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: " +
         std::string(70'000, 'v') +
         "\r\n"
         "Content-Length: 0\r\n"
         "Host: {server}\r\n"
         "\r\n"},
};

INSTANTIATE_TEST_SUITE_P(Any, WireHeadersTest, testing::ValuesIn(kHeaders), wireCaseName);

// Bytes that no server has to take.
TEST_F(WireOddBytesTest, StayInNamesAndValues) {
  EXPECT_EQ(received(with({{"X-\xC3\x89t\xC3\xA9", "1"}, {"y", "\x01\x7F\xE2\x82\xAC"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x-\xC9t\xE9: 1\r\n"
            "y: \x01\x7F\x1A\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireOddBytesTest, MakeOneHeaderOfNamesThatLatin1CannotTellApart) {
  EXPECT_EQ(received(with({{"x-\xE2\x82\xAC", "1"}, {"x-\xE2\x82\xAD", "2"}, {"y", "3"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x-\x1A: 1\r\n"
            "y: 3\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
