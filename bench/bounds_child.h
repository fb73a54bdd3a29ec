// bench/bounds_child.h : one case of the bounds, performed and measured in a process of its own.
//
// Role:      the process begins idle: one worker has had one answer. Then the case comes, then one
//            more request.
// Threads:   one thread only.
// Errors:    std::runtime_error when the transport cannot be made, or the system cannot be asked.
#pragma once

#include <cstdint>
#include <string>

#include "bench/bounds_case.h"

namespace bench {

struct BoundsResult {
  std::uint64_t peakBytes = 0;  // above the idle state
  std::uint64_t keptBytes = 0;  // the same, a moment after the answer
  std::uint64_t usedBytes = 0;  // the same without what the C library keeps in store
  std::string nextStatus;       // of the request behind the case
  std::string status;           // of the case's last answer
  std::string reason;

  /// One line, and back.
  std::string text() const;
  static BoundsResult parse(const std::string& text);
};

BoundsResult measureCase(const BoundsCase& tested, const BoundsScale& scale, std::uint16_t port);

}  // namespace bench
