// What a proxy is asked, with and without a tunnel, and what TLS carries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateAuthority;
using test_support::ScriptedServer;
using test_support::TempDir;
using test_support::TlsIdentity;
using test_support::TunnelTo;
using testing::ElementsAre;

class WireProxyTest : public WireFixture {
 protected:
  WireProxyTest() {
    settings_.proxyHost = "127.0.0.1";
    settings_.host = "server.example";
  }

  void authenticate() {
    settings_.proxyAuthenticationType = "http_basic";
    settings_.proxyUser = "user";
    settings_.proxyPassword = "secret";
  }

  /// What a proxy gets for a server at this port.
  std::string asked(std::uint16_t port, RequestMessage&& message) {
    ScriptedServer proxy(ScriptedServer::answeringAll(kEmptyAnswer));
    settings_.proxyPort = proxy.port();
    connectTo(port, 4, basicAuthentication_);
    EXPECT_EQ(status(perform(message)), 200);
    exchange_->close();
    proxy.waitForFinishedConnections(1);
    const auto requests = proxy.requests();
    EXPECT_EQ(requests.size(), 1u);
    return requests.empty() ? "" : requests.front().raw;
  }
};

TEST_F(WireProxyTest, IsToldTheWholeUri) {
  EXPECT_EQ(asked(8080, with({{"x", "y"}}, "POST", "body")),
            "POST http://server.example:8080/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x: y\r\n"
            "Content-Length: 4\r\n"
            "Host: server.example:8080\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n"
            "body");
}

TEST_F(WireProxyTest, IsToldThePortThatAHostLineLeavesOut) {
  EXPECT_EQ(asked(80, RequestMessage("GET", "/a?b", "")),
            "GET http://server.example:80/a?b HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 0\r\n"
            "Host: server.example\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n");
  EXPECT_EQ(asked(443, RequestMessage("GET", "w/x", "")),
            "GET http://server.example:443/w/x HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 0\r\n"
            "Host: server.example\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n");
}

TEST_F(WireProxyTest, IsToldAnAddressInBrackets) {
  settings_.host = "::1";
  EXPECT_EQ(asked(8080, RequestMessage("HEAD", "", "")),
            "HEAD http://[::1]:8080/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Host: [::1]:8080\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n");
  EXPECT_EQ(asked(80, RequestMessage("HEAD", "", "")),
            "HEAD http://[::1]:80/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Host: [::1]\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n");
}

TEST_F(WireProxyTest, GetsItsCredentialsBehindAllElse) {
  authenticate();
  basicAuthentication_ = true;
  settings_.user = "other";
  settings_.password = "word";
  RequestMessage message = with({{"x", "y"}, {"Transfer-Encoding", "chunked"}}, "PUT", "body");
  message.http("cookies", data_t(textMap({{"sid", "7"}})));
  EXPECT_EQ(asked(8080, std::move(message)),
            "PUT http://server.example:8080/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "x: y\r\n"
            "Cookie: sid=7\r\n"
            "Authorization: Basic b3RoZXI6d29yZA==\r\n"
            "Transfer-Encoding: chunked\r\n"
            "Host: server.example:8080\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Proxy-Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
            "\r\n"
            "4\r\n"
            "body\r\n"
            "0\r\n"
            "\r\n");
}

TEST_F(WireProxyTest, GetsItsCredentialsInThePlaceOfTheMessages) {
  authenticate();
  EXPECT_EQ(
      asked(8080,
            with({{"Proxy-Authorization", "mine"}, {"Proxy-Connection", "close"}, {"x", "y"}})),
      "GET http://server.example:8080/ HTTP/1.1\r\n"
      "accept-charset: utf-8\r\n"
      "accept-encoding: identity, gzip, deflate\r\n"
      "proxy-authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
      "proxy-connection: Keep-Alive\r\n"
      "user-agent: Orvex/10.15 (amd64-win)\r\n"
      "x: y\r\n"
      "Content-Length: 0\r\n"
      "Host: server.example:8080\r\n"
      "\r\n");
}

TEST_F(WireProxyTest, GetsThoseOfTheMessageWithoutItsOwn) {
  EXPECT_EQ(asked(8080, with({{"Proxy-Authorization", "mine"}, {"Host", "own.example"}})),
            "GET http://server.example:8080/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "host: own.example\r\n"
            "proxy-authorization: mine\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 0\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n");
}

TEST_F(WireProxyTest, GetsAFormsFieldsInTheWholeUri) {
  RequestMessage message = with({});
  message.payload(data_t(textMap({{"a", "1"}})));
  EXPECT_EQ(asked(8080, std::move(message)),
            "GET http://server.example:8080/?a=1 HTTP/1.1\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 3\r\n"
            "Host: server.example:8080\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "\r\n"
            "a=1");
}

TEST_F(WireProxyTest, IsAskedTheSameAgainAfterADroppedConnection) {
  authenticate();
  ScriptedServer proxy(droppingTheFirstRequest());
  settings_.proxyPort = proxy.port();
  connectTo(8080);

  EXPECT_EQ(status(perform(with({{"Transfer-Encoding", "chunked"}}, "POST", "body"))), 200);

  const auto requests = proxy.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].raw,
            "POST http://server.example:8080/ HTTP/1.1\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Transfer-Encoding: chunked\r\n"
            "Host: server.example:8080\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Proxy-Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
            "\r\n"
            "4\r\n"
            "body\r\n"
            "0\r\n"
            "\r\n");
  EXPECT_EQ(requests[1].raw, requests[0].raw);
}

class WireTlsTest : public WireProxyTest {
 protected:
  WireTlsTest() {
    settings_.tls = true;
    settings_.tlsAcceptUnrecognizedCertificates = true;
  }

  /// What a proxy gets, and what the server behind its tunnel.
  std::vector<std::string> tunnelled(std::uint16_t port, RequestMessage&& message) {
    ScriptedServer proxy(TunnelTo{identity_}, ScriptedServer::answeringAll(kEmptyAnswer));
    settings_.proxyPort = proxy.port();
    connectTo(port);
    EXPECT_EQ(status(perform(message)), 200);
    exchange_->close();
    proxy.waitForFinishedConnections(1);
    std::vector<std::string> bytes;
    for (const auto& request : proxy.tunnels()) bytes.push_back(request.raw);
    for (const auto& request : proxy.requests()) bytes.push_back(request.raw);
    return bytes;
  }

  TempDir dir_;
  CertificateAuthority authority_{dir_};
  const TlsIdentity identity_ = authority_.issue();
};

TEST_F(WireTlsTest, CarriesTheBytesOfARequestWithoutIt) {
  settings_.proxyHost.clear();
  settings_.host = "127.0.0.1";
  std::string plain;
  std::string secured;
  for (const bool tls : {false, true}) {
    settings_.tls = tls;
    const auto script = ScriptedServer::answeringAll(kEmptyAnswer);
    ScriptedServer server = tls ? ScriptedServer(identity_, script) : ScriptedServer(script);
    connectTo(server.port());
    EXPECT_EQ(status(perform(with({{"Transfer-Encoding", "chunked"}, {"x", "y"}}, "POST",
                                  std::string(5'000, 'x')))),
              200);
    exchange_->close();
    server.waitForFinishedConnections(1);
    ASSERT_EQ(server.requests().size(), 1u);
    (tls ? secured : plain) = named(server.requests().front().raw);
  }
  EXPECT_EQ(secured, plain);
}

TEST_F(WireTlsTest, CarriesARequestToTheServerBehindTheTunnel) {
  EXPECT_THAT(tunnelled(8443, with({{"x", "y"}}, "POST", "body")),
              ElementsAre("CONNECT server.example:8443 HTTP/1.1\r\n"
                          "Proxy-Connection: Keep-Alive\r\n"
                          "Host: server.example:8443\r\n"
                          "\r\n",
                          "POST / HTTP/1.1\r\n"
                          "accept-charset: utf-8\r\n"
                          "accept-encoding: identity, gzip, deflate\r\n"
                          "user-agent: Orvex/10.15 (amd64-win)\r\n"
                          "x: y\r\n"
                          "Content-Length: 4\r\n"
                          "Host: server.example:8443\r\n"
                          "Proxy-Connection: Keep-Alive\r\n"
                          "\r\n"
                          "body"));
}

TEST_F(WireTlsTest, LeavesItsPortOutOfTheHostLineOfARequestAlone) {
  EXPECT_THAT(tunnelled(443, with({})), ElementsAre("CONNECT server.example:443 HTTP/1.1\r\n"
                                                    "Proxy-Connection: Keep-Alive\r\n"
                                                    "Host: server.example:443\r\n"
                                                    "\r\n",
                                                    "GET / HTTP/1.1\r\n"
                                                    "accept-charset: utf-8\r\n"
                                                    "accept-encoding: identity, gzip, deflate\r\n"
                                                    "user-agent: Orvex/10.15 (amd64-win)\r\n"
                                                    "Content-Length: 0\r\n"
                                                    "Host: server.example\r\n"
                                                    "Proxy-Connection: Keep-Alive\r\n"
                                                    "\r\n"));
  EXPECT_THAT(tunnelled(80, with({})), ElementsAre("CONNECT server.example:80 HTTP/1.1\r\n"
                                                   "Proxy-Connection: Keep-Alive\r\n"
                                                   "Host: server.example:80\r\n"
                                                   "\r\n",
                                                   "GET / HTTP/1.1\r\n"
                                                   "accept-charset: utf-8\r\n"
                                                   "accept-encoding: identity, gzip, deflate\r\n"
                                                   "user-agent: Orvex/10.15 (amd64-win)\r\n"
                                                   "Content-Length: 0\r\n"
                                                   "Host: server.example\r\n"
                                                   "Proxy-Connection: Keep-Alive\r\n"
                                                   "\r\n"));
}

TEST_F(WireTlsTest, CarriesNoCredentialsOfTheProxy) {
  authenticate();
  settings_.host = "::1";
  EXPECT_THAT(
      tunnelled(
          8443,
          with({{"Proxy-Authorization", "mine"}, {"Proxy-Connection", "close"}, {"Host", "own"}})),
      ElementsAre("CONNECT [::1]:8443 HTTP/1.1\r\n"
                  "Proxy-Connection: Keep-Alive\r\n"
                  "Host: [::1]:8443\r\n"
                  "Proxy-Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
                  "\r\n",
                  "GET / HTTP/1.1\r\n"
                  "accept-charset: utf-8\r\n"
                  "accept-encoding: identity, gzip, deflate\r\n"
                  "host: own\r\n"
                  "proxy-authorization: mine\r\n"
                  "proxy-connection: Keep-Alive\r\n"
                  "user-agent: Orvex/10.15 (amd64-win)\r\n"
                  "Content-Length: 0\r\n"
                  "\r\n"));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
