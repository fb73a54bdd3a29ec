// Cookies and credentials on the wire.
#include <gtest/gtest.h>

#include <string>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

class WireCookiesTest : public WireTable {};

TEST_P(WireCookiesTest, BecomeExactlyTheseBytes) { compare(); }

RequestMessage baking(Pairs cookies, Pairs headers = {}, const char* method = "GET") {
  RequestMessage message = with(headers, method);
  message.http("cookies", data_t(textMap(cookies)));
  return message;
}

const WireCase kCookies[] = {
    {"One",
     [] {
       return baking({{"sid", "7"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: sid=7\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"None", [] { return baking({}); },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"SeveralInTheOrderOfTheirNames",
     [] {
       return baking({{"z", "1"}, {"_", "2"}, {"a-b", "3"}, {"a", "4"}, {"Z9", "5"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: Z9=5; _=2; a=4; a-b=3; z=1\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"NamesThatDifferInLettersSideBySide",
     [] {
       return baking({{"B", "1"}, {"a", "2"}, {"b", "3"}, {"A", "4"}, {"c", "5"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: A=4; a=2; B=1; b=3; c=5\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"OddValues",
     [] {
       return baking({{"a", "\"q\""}, {"b", "1; c=2"}, {"d", " e "}, {"f", ""}, {"g", "=&,\\"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: a=\"q\"; b=1; c=2; d= e ; f=; g==&,\\\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"OddNames",
     [] {
       return baking({{"", "1"}, {"a b", "2"}, {"\"c\"", "3"}, {"d=e;", "4"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: =1; \"c\"=3; a b=2; d=e;=4\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"OtherScriptsInUtf8",
     [] {
       return baking({{"caf\xC3\xA9", "\xE2\x82\xAC"}, {"b", "\xF0\x9F\x98\x80"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: b=\xF0\x9F\x98\x80; caf\xC3\xA9=\xE2\x82\xAC\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"NoLineBreaks",
     [] {
       return baking({{"a\r\n", "1\r\n2\n"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: a=12\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"BesideACookieHeader",
     [] {
       return baking({{"sid", "7"}, {"own", "2"}}, {{"Cookie", "own=1"}, {"x", "y"}});
     },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "cookie: own=1\r\n"
     "Cookie: own=2; sid=7\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "x: y\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ForAMethodWithoutABody",
     [] {
       return baking({{"sid", "7"}}, {}, "DELETE");
     },
     "DELETE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: sid=7\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ForAChunkedBody",
     [] {
       return baking({{"sid", "7"}}, {{"transfer-encoding", "chunked"}}, "POST");
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Cookie: sid=7\r\n"
     "Transfer-Encoding: chunked\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "0\r\n"
     "\r\n"},
};

INSTANTIATE_TEST_SUITE_P(Message, WireCookiesTest, testing::ValuesIn(kCookies), wireCaseName);

class WireJarTest : public WireFixture {
 protected:
  /// The second request, when the answer to the first one has set cookies by these fields.
  std::string second(const std::string& fields, RequestMessage&& message) {
    const std::string first = "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: 0\r\n\r\n";
    ScriptedServer server([&](Connection& connection) {
      while (const auto request = connection.readRequest()) {
        connection.send(request->target == "/set" ? first : kEmptyAnswer);
      }
    });
    connectTo(server.port(), 4, basicAuthentication_);
    perform(RequestMessage("GET", "/set", ""));
    perform(message);
    exchange_->close();
    server.waitForFinishedConnections(1);
    return named(server.requests().back().raw);
  }
};

TEST_F(WireJarTest, FollowsTheMessagesCookiesInTheOrderOfSetting) {
  EXPECT_EQ(second("Set-Cookie: z=1\r\nSet-Cookie: b=2; Path=/\r\nSet-Cookie: a=3\r\n"
                   "Set-Cookie: z=4\r\n",
                   baking({{"y", "5"}, {"a", "6"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Cookie: a=6; y=5; b=2; z=4\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireJarTest, PutsNamesThatDifferInLettersSideBySide) {
  EXPECT_EQ(second("Set-Cookie: b=1\r\nSet-Cookie: A=2\r\nSet-Cookie: B=3\r\n",
                   baking({{"a", "4"}, {"c", "5"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Cookie: a=4; A=2; c=5; b=1; B=3\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireJarTest, SendsOddValuesAsTheyWereRead) {
  EXPECT_EQ(second("Set-Cookie: a=\"q r\"\r\nSet-Cookie: b=\"s;t\"; Path=/\r\nSet-Cookie: c=\r\n"
                   "Set-Cookie: d=u=v==\r\nSet-Cookie: e=\xC3\xA9\xE9\r\nSet-Cookie: f= g h \r\n"
                   "Set-Cookie: i=\"j\\\"k\"\r\nSet-Cookie: l\r\n",
                   with({})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Cookie: a=q r; b=s;t; c=; d=u=v==; e=\xC3\xA9\xE9; f=g h; i=j\"k; l=\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireJarTest, StandsBetweenTheHeadersAndTheCredentials) {
  basicAuthentication_ = true;
  settings_.user = "user";
  settings_.password = "secret";

  EXPECT_EQ(
      second("Set-Cookie: sid=1\r\n", with({{"X", "y"}, {"cookie", "own=1"}}, "POST", "body")),
      "POST / HTTP/1.1\r\n"
      "accept-charset: utf-8\r\n"
      "accept-encoding: identity, gzip, deflate\r\n"
      "cookie: own=1\r\n"
      "Cookie: sid=1\r\n"
      "user-agent: Orvex/10.15 (amd64-win)\r\n"
      "x: y\r\n"
      "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
      "Content-Length: 4\r\n"
      "Host: {server}\r\n"
      "\r\n"
      "body");
}

class WireCredentialsTest : public WireFixture {
 protected:
  /// A request with these credentials.
  std::string sentBy(const std::string& user, const std::string& password,
                     RequestMessage&& message) {
    basicAuthentication_ = true;
    settings_.user = user;
    settings_.password = password;
    return named(onWire(message).raw);
  }
};

TEST_F(WireCredentialsTest, FollowAllHeaders) {
  EXPECT_EQ(sentBy("user", "secret", with({{"x", "y"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x: y\r\n"
            "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireCredentialsTest, StandWhereTheMessageHadItsOwn) {
  EXPECT_EQ(sentBy("user", "secret", with({{"Authorization", "Bearer abc"}, {"x", "y"}})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x: y\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireCredentialsTest, MayBeEmpty) {
  EXPECT_EQ(sentBy("", "", with({})),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Authorization: Basic Og==\r\n"
            "Content-Length: 0\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

// Encoders like to break their lines.
TEST_F(WireCredentialsTest, StandOnOneLineHoweverLong) {
  EXPECT_EQ(
      sentBy(std::string(60, 'u'), "caf\xC3\xA9:\xE2\x82\xAC" + std::string(60, 'p'), with({})),
      "GET / HTTP/1.1\r\n"
      "accept-charset: utf-8\r\n"
      "accept-encoding: identity, gzip, deflate\r\n"
      "user-agent: Orvex/10.15 (amd64-win)\r\n"
      "Authorization: Basic "
      "dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1dXV1OmNh"
      "ZsOpOuKCrHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBwcHBw"
      "cHBwcA==\r\n"
      "Content-Length: 0\r\n"
      "Host: {server}\r\n"
      "\r\n");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
