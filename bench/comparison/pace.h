// comparison/pace.h : when requests are due, at a steady rate.
//
// Threads:   immutable; any thread.
#pragma once

#include <time.h>

#include <cstdint>

#include "runtime/platform.h"

namespace bench {

class Pace {
 public:
  /// From now on. `rate` in requests a second; 0: whenever the one before has been answered.
  explicit Pace(double rate)
      : nanosEach_(rate > 0 ? 1e9 / rate : 0),
        beginNanos_(com::orvex::Platform::monotonicNanos()) {}

  /// Waits until a request is due. Result: the time, of Platform::monotonicNanos, from which its
  /// latency counts: when it was due, however late its sender comes.
  std::int64_t await(std::uint64_t request) const {
    if (nanosEach_ == 0) return com::orvex::Platform::monotonicNanos();
    const auto dueNanos =
        beginNanos_ + static_cast<std::int64_t>(nanosEach_ * static_cast<double>(request));
    const timespec due{dueNanos / 1'000'000'000, dueNanos % 1'000'000'000};
    while (com::orvex::Platform::monotonicNanos() < dueNanos) {
      ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &due, nullptr);
    }
    return dueNanos;
  }

 private:
  const double nanosEach_;
  const std::int64_t beginNanos_;
};

}  // namespace bench
