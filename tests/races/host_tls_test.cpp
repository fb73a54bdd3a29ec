// A host that uses the TLS library, and the network library above it, itself: with a handler that
// accepts any certificate, for the whole process. The transport's own verification stays on, and
// the host's connections go on whatever becomes of the plugin.
#include <Poco/Net/AcceptCertificateHandler.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Net/SSLManager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "races/plugin_host.h"
#include "support/loopback.h"
#include "support/scripted_server.h"

namespace races {
namespace {

using Poco::Net::Context;
using Poco::Net::SSLManager;
using test_support::ScriptedServer;
using testing::HasSubstr;

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

// The network library set up by the host for itself.
class LooseTlsOfTheHost {
 public:
  LooseTlsOfTheHost() {
    Poco::Net::initializeSSL();
    const Context::Ptr context(
        new Context(Context::TLS_CLIENT_USE, "", Context::VERIFY_RELAXED, 9, false));
    SSLManager::instance().initializeClient(nullptr, new Poco::Net::AcceptCertificateHandler(false),
                                            context);
  }
  ~LooseTlsOfTheHost() { Poco::Net::uninitializeSSL(); }
  LooseTlsOfTheHost(const LooseTlsOfTheHost&) = delete;
  LooseTlsOfTheHost& operator=(const LooseTlsOfTheHost&) = delete;

  /// One exchange on a new connection, whatever the server's certificate. Returns the body.
  static std::string exchange(std::uint16_t port) {
    Poco::Net::HTTPSClientSession session("127.0.0.1", port,
                                          SSLManager::instance().defaultClientContext());
    Poco::Net::HTTPRequest request("GET", "/host", "HTTP/1.1");
    session.sendRequest(request);
    Poco::Net::HTTPResponse response;
    std::ostringstream body;
    body << session.receiveResponse(response).rdbuf();
    return body.str();
  }
};

// The TLS library used by the host without anything above it.
class OwnTls {
 public:
  OwnTls(std::uint16_t port, const std::string& authorityFile)
      : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free),
        socket_(test_support::connectLoopback(port)) {
    SSL_CTX_set_verify(context_.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_load_verify_locations(context_.get(), authorityFile.c_str(), nullptr);
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_fd(ssl_.get(), socket_);
    connected_ = SSL_connect(ssl_.get()) == 1;
  }
  ~OwnTls() {
    if (connected_) SSL_shutdown(ssl_.get());
    ::close(socket_);
  }
  OwnTls(const OwnTls&) = delete;
  OwnTls& operator=(const OwnTls&) = delete;

  bool isConnected() const { return connected_; }

  /// One exchange on the connection; false when it fails.
  bool exchange() {
    const std::string request = "GET /own HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    if (SSL_write(ssl_.get(), request.data(), static_cast<int>(request.size())) <= 0) return false;
    std::string answer;
    while (!answer.ends_with("ok")) {
      char piece[256];
      const int count = SSL_read(ssl_.get(), piece, sizeof piece);
      if (count <= 0) return false;
      answer.append(piece, static_cast<std::size_t>(count));
    }
    return true;
  }

 private:
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
  const int socket_;
  std::unique_ptr<SSL, decltype(&SSL_free)> ssl_{nullptr, SSL_free};
  bool connected_ = false;
};

class HostTlsTest : public testing::Test {
 protected:
  HostTlsTest() { withoutPlatformAuthorities(); }

  std::unique_ptr<HostedTransport> create(const ScriptedServer& server) const {
    auto transport = std::make_unique<HostedTransport>(
        library_, tlsSettingsFor(server.port(), 2, authority_.certificateFile()));
    transport->start();
    return transport;
  }

  static void sendMany(HostedTransport& transport, std::int64_t first, std::int64_t end) {
    for (std::int64_t id = first; id < end; ++id) transport.send(id, "/plugin");
  }

  static void expectAccepted(const HostedTransport& transport, std::size_t count) {
    transport.answers().waitFor(count);
    for (const auto& answer : transport.answers().all()) {
      EXPECT_EQ(answer.status, 200) << answer.reason;
    }
  }

  static void expectRefused(const HostedTransport& transport, std::size_t count) {
    transport.answers().waitFor(count);
    for (const auto& answer : transport.answers().all()) {
      EXPECT_EQ(answer.status, 400);
      EXPECT_THAT(answer.reason, HasSubstr("certificate verify failed"));
    }
  }

  const test_support::TempDir dir_;
  test_support::CertificateAuthority authority_{dir_};
  const HandledRequests quiet_;
  const test_support::PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  const ScriptedServer trusted_{authority_.issue(), ScriptedServer::answeringAll(kOk)};
  const ScriptedServer unknown_{test_support::selfSigned(dir_, "unknown"),
                                ScriptedServer::answeringAll(kOk)};
};

TEST_F(HostTlsTest, LooseBeforeTheTransportDoesNotLoosenIt) {
  const LooseTlsOfTheHost loose;
  EXPECT_EQ(LooseTlsOfTheHost::exchange(unknown_.port()), "ok");

  const auto transport = create(unknown_);
  sendMany(*transport, 0, 4);

  expectRefused(*transport, 4);
  EXPECT_EQ(LooseTlsOfTheHost::exchange(unknown_.port()), "ok");
}

TEST_F(HostTlsTest, LooseWhileTheTransportRunsDoesNotLoosenIt) {
  const auto transport = create(unknown_);
  sendMany(*transport, 0, 4);
  expectRefused(*transport, 4);

  const LooseTlsOfTheHost loose;
  EXPECT_EQ(LooseTlsOfTheHost::exchange(unknown_.port()), "ok");
  sendMany(*transport, 4, 8);

  expectRefused(*transport, 8);
}

TEST_F(HostTlsTest, MayBeGivenUpWhileTheTransportRuns) {
  std::optional<LooseTlsOfTheHost> loose(std::in_place);
  const auto transport = create(trusted_);
  const auto strict = create(unknown_);
  sendMany(*transport, 0, 4);
  expectAccepted(*transport, 4);

  loose.reset();
  sendMany(*transport, 4, 8);
  sendMany(*strict, 0, 4);

  expectAccepted(*transport, 8);
  expectRefused(*strict, 4);
}

TEST_F(HostTlsTest, GoesOnWhenTheTransportIsDestroyed) {
  OwnTls own(trusted_.port(), authority_.certificateFile());
  ASSERT_TRUE(own.isConnected());
  const LooseTlsOfTheHost loose;
  for (int round = 0; round < 3; ++round) {
    auto transport = create(trusted_);
    sendMany(*transport, 0, 4);
    expectAccepted(*transport, 4);

    transport.reset();

    EXPECT_TRUE(own.exchange());
    EXPECT_EQ(LooseTlsOfTheHost::exchange(unknown_.port()), "ok");
    EXPECT_TRUE(OwnTls(trusted_.port(), authority_.certificateFile()).isConnected());
    EXPECT_FALSE(OwnTls(unknown_.port(), authority_.certificateFile()).isConnected());
  }
}

TEST_F(HostTlsTest, WorksBesideTransportsThatComeAndGo) {
  const LooseTlsOfTheHost loose;
  std::atomic<bool> enough = false;
  std::thread ownTls([&] {
    OwnTls own(trusted_.port(), authority_.certificateFile());
    while (!enough) {
      EXPECT_TRUE(own.exchange());
      EXPECT_FALSE(OwnTls(unknown_.port(), authority_.certificateFile()).isConnected());
    }
  });
  std::thread looseTls([&] {
    while (!enough) EXPECT_EQ(LooseTlsOfTheHost::exchange(unknown_.port()), "ok");
  });

  for (int round = 0; round < roundsOr(5); ++round) {
    const auto transport = create(trusted_);
    const auto strict = create(unknown_);
    sendMany(*transport, 0, 4);
    sendMany(*strict, 0, 4);
    expectAccepted(*transport, 4);
    expectRefused(*strict, 4);
  }

  enough = true;
  ownTls.join();
  looseTls.join();
  for (const auto& request : unknown_.requests()) EXPECT_EQ(request.target, "/host");
}

}  // namespace
}  // namespace races
