// faults/fault_fixture.h : the whole plugin behind its entry points, as a host drives it, with one
// worker unless the test configures more.
//
// Role:      base of the suites of this folder. configure, create, then perform one request after
//            another; the plugin is shut down at the end of the test, which then checks that each
//            request was answered once, and that no log line, reason, payload of a failure or
//            status item has told a secret.
// Threads:   the test's own; answers come on the plugin's worker.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "faults/fault_server.h"
#include "faults/outcome.h"
#include "http/messages.h"
#include "kel/plugin.h"
#include "support/certificates.h"
#include "support/fake_host.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace com::corvane::connectivity::plugins {

/// How the plugin reaches a server. Where there is a proxy, the scripted server plays it too, and
/// nobody listens on the server's own port.
enum class Wire {
  Plain,
  Tls,
  ThroughProxy,  // plain: the proxy gets the request, and gives the answer
  OverTunnel,    // TLS within a tunnel that the proxy opens
};

inline bool isTls(Wire wire) { return wire == Wire::Tls || wire == Wire::OverTunnel; }
inline bool hasProxy(Wire wire) { return wire == Wire::ThroughProxy || wire == Wire::OverTunnel; }

/// "Plain", "OverTls", "ThroughProxy", "OverTunnel"
const char* nameOfWire(Wire wire);

inline void PrintTo(Wire wire, std::ostream* out) { *out << nameOfWire(wire); }

/// What must not be read in any text. The plugin is always configured with all of it.
struct Secrets {
  static constexpr char kUser[] = "user";
  static constexpr char kPassword[] = "word-of-the-user";
  static constexpr char kCredentials[] = "dXNlcjp3b3JkLW9mLXRoZS11c2Vy";  // both, as they are sent
  static constexpr char kProxyUser[] = "proxy-user";
  static constexpr char kProxyPassword[] = "word-of-the-proxy";
  static constexpr char kProxyCredentials[] = "cHJveHktdXNlcjp3b3JkLW9mLXRoZS1wcm94eQ==";
  static constexpr char kCookie[] = "value-of-the-cookie";  // in every request message
  static constexpr const char* kJarCookie = test_support::FaultServer::kCookie;
};

/// A response message, taken apart.
struct Answer {
  std::int64_t requestId = 0;
  std::int64_t status = 0;
  std::string reason;
  std::string payload;
  std::string contentType;  // empty: none
  std::map<std::string, std::string> headers;
};

class FaultFixture : public testing::Test {
 protected:
  FaultFixture();
  void TearDown() override;

  /// Sets an element of the configuration; from the next create on.
  void configure(const char* key, data_t value);

  /// TLS towards a server with the identity that is returned, which the plugin trusts. It is the
  /// same one in all tests of the program.
  const test_support::TlsIdentity& useTls();

  /// The identity that useTls returns, for a server that begins TLS itself.
  static const test_support::TlsIdentity& trustedIdentity();

  /// Another one from the same authority.
  static test_support::TlsIdentity issueTrusted(const test_support::CertificateText& text);

  /// Takes the CONNECT request and opens the tunnel, if the wire has one. False: the peer has
  /// closed before.
  static bool openTunnelOver(Wire wire, test_support::Connection& connection);

  /// Serves a connection as nothing were wrong: tunnel and TLS as the wire has them, then
  /// FaultServer::nextAnswer for every request.
  static void serveWell(Wire wire, test_support::Connection& connection);

  /// From the next create on the plugin connects to this host, the proxy where there is one;
  /// "127.0.0.1" at first.
  void reachBy(const std::string& host) { firstHost_ = host; }

  /// From the next create on: TLS and a proxy as the wire has them, or neither.
  void useWire(Wire wire);

  /// A scripted server of any kind at the other end of a wire, which is used from then on. Over TLS
  /// it has an identity that the plugin trusts.
  template <class Server, class Behaviour>
  std::unique_ptr<Server> serverOver(Wire wire, const Behaviour& behaviour) {
    useWire(wire);
    if (wire == Wire::Tls) return std::make_unique<Server>(useTls(), behaviour);
    if (wire == Wire::OverTunnel) {
      return std::make_unique<Server>(test_support::TunnelTo{useTls()}, behaviour);
    }
    return std::make_unique<Server>(behaviour);
  }

  /// Creates and starts the plugin for a server at 127.0.0.1, or for one behind a proxy there, if
  /// the wire has one. Ends the one before.
  void create(std::uint16_t port);

  /// How the server, or the proxy, sees a path in the request line.
  std::string targetOf(const std::string& path) const;

  /// What the proxy is asked to open a tunnel to.
  std::string origin() const;

  /// Sends one request and waits for its answer.
  Answer perform(RequestMessage request);

  /// Sends one request; its id is the number of requests before it.
  void send(RequestMessage request);

  /// Blocks until all requests so far are answered. Result: the answers, in the order they came.
  std::vector<Answer> waitForAnswers();

  /// Compares the answer, the lines since its perform began and the overall status.
  void expectOutcome(const Answer& answer, const Outcome& expected) const;

  /// Performs the request that a FaultServer always answers; it must succeed, as if nothing had
  /// ever been wrong.
  void expectNextSucceeds();

  /// The worker's lines since the latest perform began, as "WARN text"; without those two that
  /// come with every request.
  std::vector<std::string> lines() const;

  /// ".status"
  std::string overallStatus() const;

  /// Shuts the plugin down and destroys it. Call it before the server goes.
  void end();

  test_support::FakeHost host_;

 private:
  void expectOneAnswerEach() const;
  void expectNoSecrets() const;
  static void receive(void* self, kel_message* first, kel_message* end);

  map_t config_;
  Wire wire_ = Wire::Plain;
  std::string firstHost_ = "127.0.0.1";
  const test_support::RefusingPort originPort_;  // of the server behind a proxy
  void* plugin_ = nullptr;
  std::int64_t requests_ = 0;
  std::size_t firstLine_ = 0;  // of the latest perform

  mutable std::mutex mutex_;  // guards answers_
  std::condition_variable answered_;
  std::vector<Answer> answers_;
};

}  // namespace com::corvane::connectivity::plugins
