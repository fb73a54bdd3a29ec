#include "http/tls_sessions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "http/exchange_fixture.h"
#include "support/certificates.h"
#include "support/nginx.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::CertificateAuthority;
using test_support::CertificateText;
using test_support::Connection;
using test_support::Nginx;
using test_support::ScriptedServer;
using test_support::TempDir;

// A record with a ClientHello: what its fields of one length each hold is passed over.
class ClientHello {
 public:
  explicit ClientHello(std::string_view bytes) : rest_(bytes) {}

  bool hasExtension(std::size_t wanted) {
    skip(5 + 4 + 2 + 32);  // the heads of record and message, version, random
    skip(number(1));       // session
    skip(number(2));       // ciphers
    skip(number(1));       // compression
    skip(2);               // the length of all extensions
    while (!rest_.empty()) {
      const std::size_t type = number(2);
      if (type == wanted) return true;
      skip(number(2));
    }
    return false;
  }

 private:
  void skip(std::size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }
  std::size_t number(std::size_t bytes) {
    std::size_t result = 0;
    for (char c : rest_.substr(0, bytes)) result = result << 8 | static_cast<unsigned char>(c);
    skip(bytes);
    return result;
  }

  std::string_view rest_;
};

constexpr std::size_t kPreSharedKey = 41;

class TlsSessionsTest : public ExchangeFixture {
 protected:
  TlsSessionsTest() {
    settings_.tls = true;
    settings_.tlsCertificateAuthorityFile = authority_.certificateFile();
  }

  Nginx nginxWith(const std::string& directives, const CertificateText& certificate = {}) {
    Nginx::Options options;
    options.tls = authority_.issue(certificate);
    options.locations = directives + " add_header X-Reused $ssl_session_reused always;";
    return Nginx(options);
  }

  // Whether the handshake of a new connection was a short one, by what the server says.
  bool isShort() {
    exchange_->close();
    Message& answer = perform(RequestMessage("POST", "/", "body"));
    EXPECT_EQ(status(answer), 200);
    return textAt(mapAt(mapAt(answer.metadata, "http"), "headers"), "x-reused") == "r";
  }

  TempDir dir_;
  CertificateAuthority authority_{dir_};
};

TEST_F(TlsSessionsTest, ShortenTheHandshakesAfterTheFirst) {
  for (const std::string protocol : {"TLSv1.2", "TLSv1.3"}) {
    const Nginx server = nginxWith("ssl_protocols " + protocol + ";");
    connectTo(server.port());

    EXPECT_FALSE(isShort()) << protocol;  // the second server does not know the first one's
    EXPECT_TRUE(isShort()) << protocol;
    EXPECT_TRUE(isShort()) << protocol;
  }
}

TEST_F(TlsSessionsTest, AreSharedByTheWorkersOfATransport) {
  const Nginx server = nginxWith("");
  connectTo(server.port());
  EXPECT_FALSE(isShort());

  connectTo(server.port());  // another worker

  EXPECT_TRUE(isShort());
}

TEST_F(TlsSessionsTest, AreNotNeeded) {
  const Nginx server = nginxWith("ssl_session_tickets off; ssl_session_cache none;");
  connectTo(server.port());

  EXPECT_FALSE(isShort());
  EXPECT_FALSE(isShort());
}

TEST_F(TlsSessionsTest, AreNotUsedBeyondTheTimeOfTheCertificate) {
  settings_.tlsAcceptUnrecognizedCertificates = true;
  CertificateText expired;
  expired.validFromDays = -10;
  expired.validUntilDays = -1;
  const Nginx server = nginxWith("", expired);
  connectTo(server.port());

  EXPECT_FALSE(isShort());
  EXPECT_FALSE(isShort());
}

// A server that cannot make anything of what is offered must not be offered it for ever.
TEST_F(TlsSessionsTest, AreForgottenWhenAHandshakeFails) {
  const auto identity = authority_.issue();
  std::vector<bool> offers;
  ScriptedServer server([&](Connection& connection) {
    if (connection.index() == 0) {
      if (!connection.startTls(identity) || !connection.readRequest()) return;
      connection.send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 0\r\n\r\n");
      return;
    }
    offers.push_back(ClientHello(connection.readSome()).hasExtension(kPreSharedKey));
  });
  connectTo(server.port());
  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 200);

  EXPECT_EQ(status(perform(RequestMessage("GET", "/", ""))), 400);

  server.waitForFinishedConnections(3);
  EXPECT_EQ(offers, (std::vector<bool>{true, false}));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
