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
  /// whole percent, cut off; the next window begins at `nowNanos`, which is
  /// Platform::monotonicNanos as read before the call. Nothing while the window is shorter than a
  /// millisecond: it goes on, so that a busy transport does not look at every worker for every
  /// response. A worker counts for no more than the window's length.
  std::optional<std::int64_t> nextPercent(std::int64_t nowNanos) {
    const std::int64_t window = nowNanos - windowBeginNanos_;
    if (window < kShortestWindowNanos) return std::nullopt;
    std::int64_t busy = 0;
    for (std::size_t client = 0; client < counted_.size(); ++client) {
      // Less than before: the request began after now. It counts next time.
      const std::int64_t total = std::max(record_.busyNanos(client, nowNanos), counted_[client]);
      busy += std::min(total - counted_[client], window);
      counted_[client] = total;
    }
    windowBeginNanos_ = nowNanos;
    // In microseconds: a hundred times the nanoseconds of many workers' idle weeks is too much.
    const auto available = window / 1000 * static_cast<std::int64_t>(counted_.size());
    return busy / 1000 * 100 / available;
  }

 private:
  static constexpr std::int64_t kShortestWindowNanos = 1'000'000;

  const BusyRecord& record_;
  std::vector<std::int64_t> counted_;  // nanoseconds by client, as of the window's beginning
  std::int64_t windowBeginNanos_;
};

}  // namespace com::corvane::connectivity::plugins
