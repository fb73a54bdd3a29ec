// http/transport_port.h : what an HTTP exchange asks of the transport that runs it.
//
// Role:    the one arrow from this room back to its owner; transport/ implements it, tests stand
//          in for it.
// Threads: any worker thread, several at once.
#pragma once

#include <cstdint>
#include <optional>

#include "http/names.h"

namespace com::corvane::connectivity::plugins {

class TransportPort {
 public:
  /// Delivers one response message towards the host and counts it by its status. `startTime` is
  /// the request's start in seconds of Platform::relativeHighResTimeFloat; `bodyBytes` the length
  /// of the decoded body, none for a failure response. Does not throw; blocks as long as the
  /// host's own function does. The message's content may be gone afterwards.
  virtual void sendTowardsHost(Message& response, double startTime, std::int64_t status,
                               std::optional<std::uint64_t> bodyBytes) noexcept = 0;

  /// Publishes the number of requests that wait.
  virtual void publishQueueSize() noexcept = 0;

 protected:
  ~TransportPort() = default;  // nobody owns a transport through its port
};

}  // namespace com::corvane::connectivity::plugins
