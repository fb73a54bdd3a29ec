// faults/fault_server.h : a server that fails in a given way, and is well again for "/next".
//
// Role:      requests for any path but kNextPath take the steps one after the other, one a request;
//            the last step is for all further ones. Requests for kNextPath, also when a proxy gets
//            them with the whole URI, are always answered.
// Threads:   any; the steps do not change.
// Errors:    as ScriptedServer. A peer that goes away while it is sent something is none.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "support/scripted_server.h"

namespace test_support {

/// What follows the bytes of a step.
enum class Then {
  Keep,   // the next request on the same connection
  Close,  // an end in order; over TLS with close_notify
  Cut,    // an end without close_notify; without TLS the same as Close
  Reset,  // a TCP reset
  Stall,  // nothing, until the client gives up
};

/// Does it. Returns whether the connection goes on.
bool carryOut(Then then, Connection& connection);

struct Step {
  std::string bytes;
  Then then = Then::Keep;
};

class FaultServer {
 public:
  static constexpr char kNextPath[] = "/next";
  static constexpr char kNextBody[] = "next";
  static constexpr char kCookie[] = "value-out-of-the-jar";

  /// What is answered to kNextPath. It sets the cookie "jar" to kCookie, for all paths.
  static std::string nextAnswer();

  explicit FaultServer(std::vector<Step> steps)
      : steps_(std::move(steps)), server_([this](Connection& connection) { serve(connection); }) {}

  /// The same over TLS (a TlsIdentity), or over TLS in a tunnel (a TunnelTo).
  template <class Entrance>
  FaultServer(const Entrance& entrance, std::vector<Step> steps)
      : steps_(std::move(steps)),
        server_(entrance, [this](Connection& connection) { serve(connection); }) {}

  ScriptedServer& server() { return server_; }

 private:
  void serve(Connection& connection);

  const std::vector<Step> steps_;
  std::atomic<std::size_t> stepsTaken_ = 0;
  ScriptedServer server_;  // last: its threads use what stands above
};

}  // namespace test_support
