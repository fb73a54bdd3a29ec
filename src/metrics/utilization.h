// metrics/utilization.h : which part of the workers' time goes into requests.
//
// Threads:   one at a time; workers may write their BusyRecord meanwhile.
// Ownership: borrows the BusyRecord.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "metrics/busy_record.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

class Utilization {
 public:
  /// The first window begins now.
  explicit Utilization(const BusyRecord& record)
      : record_(record),
        counted_(record.clients()),
        windowBeginNanos_(orvex::Platform::monotonicNanos()) {}

  /// The busy time of all workers since the window began over its length times their number, in
  /// whole percent, cut off; the next window begins then. Nothing while the window is shorter than
  /// a millisecond: it goes on, so that a busy transport does not look at every worker for every
  /// response. A worker counts for no more than the window's length.
  std::optional<std::int64_t> nextPercent() {
    const std::int64_t now = orvex::Platform::monotonicNanos();
    const std::int64_t window = now - windowBeginNanos_;
    if (window < kShortestWindowNanos) return std::nullopt;
    std::int64_t busy = 0;
    for (std::size_t client = 0; client < counted_.size(); ++client) {
      // Less than before: the request began after the clock was read. It counts next time.
      const std::int64_t total = std::max(record_.busyNanos(client, now), counted_[client]);
      busy += std::min(total - counted_[client], window);
      counted_[client] = total;
    }
    windowBeginNanos_ = now;
    // In microseconds: a hundred times the nanoseconds of many workers' idle weeks is too much.
    const auto available = window / 1000 * static_cast<std::int64_t>(counted_.size());
    return std::min<std::int64_t>(busy / 1000 * 100 / available, 100);
  }

 private:
  static constexpr std::int64_t kShortestWindowNanos = 1'000'000;

  const BusyRecord& record_;
  std::vector<std::int64_t> counted_;  // nanoseconds by client, as of the window's beginning
  std::int64_t windowBeginNanos_;
};

}  // namespace com::corvane::connectivity::plugins
