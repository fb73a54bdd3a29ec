// What a proxy is asked, for a TLS tunnel above all, and which of its answers open one.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http/exchange_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateAuthority;
using test_support::Connection;
using test_support::ScriptedServer;
using test_support::TempDir;
using test_support::TlsIdentity;

class ProxyTunnelTest : public ExchangeFixture {
 protected:
  ProxyTunnelTest() {
    settings_.tls = true;
    settings_.tlsCertificateAuthorityFile = authority_.certificateFile();
    settings_.proxyHost = "127.0.0.1";
  }

  /// The bytes that a proxy gets before it has answered.
  std::string askedFor(const std::string& host, std::uint16_t port) {
    std::string bytes;
    {
      ScriptedServer proxy([&](Connection& connection) {
        while (connection.index() == 0 && !bytes.ends_with("\r\n\r\n")) {
          bytes += connection.readSome();
        }
      });
      settings_.host = host;
      settings_.proxyPort = proxy.port();
      connectTo(port);
      EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 400);
    }
    return bytes;
  }

  /// The reason of the answer when the proxy says this first and then speaks as the server.
  std::string reasonBehind(const std::string& answer) {
    ScriptedServer proxy([&](Connection& connection) {
      if (!connection.readRequest()) return;
      connection.send(answer);
      if (!connection.startTls(identity_)) return;
      if (connection.readRequest()) connection.send(kEmptyAnswer);
      connection.waitUntilClosed();
    });
    settings_.proxyPort = proxy.port();
    connectTo(8443);
    const std::string result = reason(perform(RequestMessage("GET", "/", "")));
    exchange_->close();
    return result;
  }

  /// The name that the server behind the proxy is told in the TLS handshake.
  std::string nameToldTo(const std::string& host) {
    std::string name = "nothing";
    {
      ScriptedServer proxy([&](Connection& connection) {
        if (!connection.readRequest()) return;
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        if (!connection.startTls(identity_)) return;
        name = connection.serverName();
        if (connection.readRequest()) connection.send(kEmptyAnswer);
      });
      settings_.host = host;
      settings_.proxyPort = proxy.port();
      connectTo(8443);
      EXPECT_EQ(reason(perform(RequestMessage("GET", "/", ""))), "OK");
      exchange_->close();
    }
    return name;
  }

  TempDir dir_;
  CertificateAuthority authority_{dir_};
  const TlsIdentity identity_ = authority_.issue();
};

TEST_F(ProxyTunnelTest, IsAskedForByAddressAndPort) {
  EXPECT_EQ(askedFor("127.0.0.1", 8443),
            "CONNECT 127.0.0.1:8443 HTTP/1.1\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Host: 127.0.0.1:8443\r\n"
            "\r\n");
}

// The proxy looks the name up, not the plugin.
TEST_F(ProxyTunnelTest, IsAskedForByName) {
  EXPECT_EQ(askedFor("server.example", 443),
            "CONNECT server.example:443 HTTP/1.1\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Host: server.example:443\r\n"
            "\r\n");
}

// Without the brackets nobody could tell the port from the address.
TEST_F(ProxyTunnelTest, PutsTheAddressIntoBrackets) {
  EXPECT_EQ(askedFor("::1", 8443),
            "CONNECT [::1]:8443 HTTP/1.1\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Host: [::1]:8443\r\n"
            "\r\n");
}

TEST_F(ProxyTunnelTest, IsNotNeededWithoutTls) {
  ScriptedServer proxy(ScriptedServer::answeringAll(kEmptyAnswer));
  settings_.tls = false;
  settings_.host = "::1";
  settings_.proxyPort = proxy.port();
  connectTo(8080);
  EXPECT_EQ(status(perform(RequestMessage("GET", "/a?b", ""))), 200);

  const auto request = proxy.waitForRequests(1).front();
  EXPECT_EQ(request.target, "http://[::1]:8080/a?b");
  EXPECT_EQ(request.value("Host"), "[::1]:8080");
}

TEST_F(ProxyTunnelTest, IsAskedForWithTheCredentialsOfTheProxy) {
  settings_.proxyAuthenticationType = "http_basic";
  settings_.proxyUser = "user";
  settings_.proxyPassword = "secret";

  EXPECT_EQ(askedFor("127.0.0.1", 8443),
            "CONNECT 127.0.0.1:8443 HTTP/1.1\r\n"
            "Proxy-Connection: Keep-Alive\r\n"
            "Host: 127.0.0.1:8443\r\n"
            "Proxy-Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
            "\r\n");
}

// ---- Which answers open it

TEST_F(ProxyTunnelTest, IsOpenedByAnyAnswerOfSuccess) {
  for (const std::string answer :
       {"HTTP/1.1 200 Connection established\r\n\r\n", "HTTP/1.0 204 \r\nX: y\r\n\r\n",
        "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 299 Fine\r\nContent-Length: 5\r\n\r\n"}) {
    EXPECT_EQ(reasonBehind(answer), "OK") << answer;
  }
}

TEST_F(ProxyTunnelTest, IsNotOpenedByAnotherAnswer) {
  const std::string refused = "HTTP Exception: Cannot establish proxy connection: ";
  EXPECT_EQ(reasonBehind("HTTP/1.1 302 Found\r\nLocation: /\r\n\r\n"), refused + "Found");
  EXPECT_EQ(reasonBehind("HTTP/1.1 101 Switching Protocols\r\n\r\n"),
            refused + "Switching Protocols");
  EXPECT_EQ(reasonBehind("HTTP/1.1 200 OK\r\nno field\r\n\r\n"),
            "Malformed message: Malformed header field");
  EXPECT_EQ(reasonBehind("HTTP/1.1 403 No\x1B[2J\tway\x7F\r\n\r\n"), refused + "No [2J way ");
}

// The first bytes of a tunnel are the client's.
TEST_F(ProxyTunnelTest, IsNotOpenedByAnAnswerWithBytesBehindIt) {
  EXPECT_EQ(reasonBehind("HTTP/1.1 200 OK\r\n\r\n\x16"),
            "HTTP Exception: Cannot establish proxy connection: Unexpected bytes after the answer");
  EXPECT_EQ(reasonBehind("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok"),
            "HTTP Exception: Cannot establish proxy connection: Unexpected bytes after the answer");
}

TEST_F(ProxyTunnelTest, TellsTheServerBehindItsNameButNoAddress) {
  EXPECT_EQ(nameToldTo("localhost"), "localhost");
  EXPECT_EQ(nameToldTo("127.0.0.1"), "");
}

// What was not secured must never carry a request.
TEST_F(ProxyTunnelTest, IsAskedForAgainAfterARefusal) {
  ScriptedServer proxy([&](Connection& connection) {
    while (connection.readRequest()) {
      connection.send("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
    }
  });
  settings_.proxyPort = proxy.port();
  connectTo(8443);
  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 400);
  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 400);

  EXPECT_EQ(proxy.connectionCount(), 4u);
  for (const auto& request : proxy.requests()) EXPECT_EQ(request.method, "CONNECT");
  exchange_->close();
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
