// The second request that a redirect makes of a message.
#include <gtest/gtest.h>

#include <string>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

class WireRedirectTest : public WireFixture {
 protected:
  /// The request to which the one for "/" is redirected.
  std::string redirected(const char* status, const char* location, RequestMessage&& message) {
    const std::string first = std::string("HTTP/1.1 ") + status +
                              " Moved\r\nLocation: " + location +
                              "\r\nSet-Cookie: of=it\r\nContent-Length: 0\r\n\r\n";
    ScriptedServer server([&](Connection& connection) {
      while (connection.readRequest())
        connection.send(connection.index() == 0 ? first : kEmptyAnswer);
    });
    connectTo(server.port(), 4, basicAuthentication_);
    EXPECT_EQ(this->status(perform(message)), 200);
    exchange_->close();
    server.waitForFinishedConnections(2);
    const auto requests = server.requests();
    EXPECT_EQ(requests.size(), 2u);
    return named(requests.back().raw);
  }
};

TEST_F(WireRedirectTest, AsksWithGetForTheOtherPathAfterAPost) {
  basicAuthentication_ = true;
  settings_.user = "user";
  settings_.password = "secret";
  for (const char* status : {"301", "302", "303"}) {
    RequestMessage message = with({{"X", "y"}, {"Host", "own"}}, "POST", "body");
    message.http("cookies", data_t(textMap({{"sid", "7"}})))
        .http("queryString", data_t(textMap({{"a b", "1"}})))
        .metadata("contentType", data_t("text/plain"));
    EXPECT_EQ(redirected(status, "/new?x=1#y", std::move(message)),
              "GET /new?a%20b=1 HTTP/1.1\r\n"
              "accept: text/plain\r\n"
              "accept-charset: utf-8\r\n"
              "accept-encoding: identity, gzip, deflate\r\n"
              "content-type: text/plain\r\n"
              "host: own\r\n"
              "user-agent: Orvex/10.15 (amd64-win)\r\n"
              "x: y\r\n"
              "Cookie: sid=7\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "Content-Length: 4\r\n"
              "\r\n"
              "body")
        << status;
  }
}

TEST_F(WireRedirectTest, KeepsMethodAndChunksWith307And308) {
  for (const char* status : {"307", "308"}) {
    EXPECT_EQ(redirected(status, "/a%20b/%3F%25?c",
                         with({{"Transfer-Encoding", "chunked"}}, "PUT", "body")),
              "PUT /a%20b/%3F%25 HTTP/1.1\r\n"
              "accept-charset: utf-8\r\n"
              "accept-encoding: identity, gzip, deflate\r\n"
              "user-agent: Orvex/10.15 (amd64-win)\r\n"
              "Transfer-Encoding: chunked\r\n"
              "Host: {server}\r\n"
              "\r\n"
              "4\r\n"
              "body\r\n"
              "0\r\n"
              "\r\n")
        << status;
  }
}

TEST_F(WireRedirectTest, SendsTheBodyOfADeleteOnceItIsAGet) {
  EXPECT_EQ(redirected("302", "", with({}, "DELETE", "body")),
            "GET / HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 4\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "body");
}

TEST_F(WireRedirectTest, StaysAHead) {
  EXPECT_EQ(redirected("303", "new", with({}, "HEAD")),
            "HEAD new HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Host: {server}\r\n"
            "\r\n");
}

TEST_F(WireRedirectTest, AddsTheFieldsOfAFormToTheQueryOnceItIsAGet) {
  RequestMessage message = with({}, "POST");
  message.payload(data_t(textMap({{"a", "1"}})));
  EXPECT_EQ(redirected("303", "/new?x=1", std::move(message)),
            "GET /new?a=1 HTTP/1.1\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 3\r\n"
            "Host: {server}\r\n"
            "\r\n"
            "a=1");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
