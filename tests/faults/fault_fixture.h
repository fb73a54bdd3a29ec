// faults/fault_fixture.h : the whole plugin behind its entry points, as a host drives it, with one
// worker.
//
// Role:      base of the suites of this folder. configure, create, then perform one request after
//            another; the plugin is shut down at the end of the test, which then checks that each
//            request was answered once.
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

#include "http/messages.h"
#include "kel/plugin.h"
#include "support/certificates.h"
#include "support/fake_host.h"
#include "support/temp_dir.h"

namespace com::corvane::connectivity::plugins {

enum class Wire { Plain, Tls };

inline void PrintTo(Wire wire, std::ostream* out) {
  *out << (wire == Wire::Tls ? "TLS" : "plain TCP");
}

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

  /// TLS towards a server with the identity that is returned, which the plugin trusts.
  const test_support::TlsIdentity& useTls();

  /// A server of either kind, over TLS with an identity that the plugin trusts.
  template <class Server, class Behaviour>
  std::unique_ptr<Server> serverOver(Wire wire, const Behaviour& behaviour) {
    return wire == Wire::Tls ? std::make_unique<Server>(useTls(), behaviour)
                             : std::make_unique<Server>(behaviour);
  }

  /// Creates and starts the plugin for a server at 127.0.0.1. Ends the one before.
  void create(std::uint16_t port);

  /// Sends one request and waits for its answer.
  Answer perform(RequestMessage request);

  /// The worker's lines since the latest perform began, as "WARN text"; without those two that
  /// come with every request.
  std::vector<std::string> lines() const;

  /// ".status"
  std::string overallStatus() const;

  /// Shuts the plugin down and destroys it. Call it before the server goes.
  void end();

  test_support::FakeHost host_;

 private:
  static void receive(void* self, kel_message* first, kel_message* end);

  map_t config_;
  std::unique_ptr<test_support::TempDir> certificates_;
  test_support::TlsIdentity identity_;
  void* plugin_ = nullptr;
  std::int64_t requests_ = 0;

  mutable std::mutex mutex_;  // guards answers_
  std::condition_variable answered_;
  std::vector<Answer> answers_;
};

}  // namespace com::corvane::connectivity::plugins
