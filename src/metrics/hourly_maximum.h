// metrics/hourly_maximum.h : the largest of the samples of about an hour.
//
// Threads: one at a time.
// Limits:  the maximum does not slide: a sample displaces one that is more than an hour old even if
//          others since then were larger than the sample, and without samples it stays. The hour
//          is the system's time: set back, it makes a maximum last longer.
#pragma once

#include <cstdint>

#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

class HourlyMaximum {
 public:
  /// Takes a sample of now. Returns whether it became the maximum.
  bool add(std::uint64_t sample) {
    const std::int64_t now = orvex::Platform::sysTime();
    if (recordedMs_ + kLifetimeMs >= now && sample <= value_) return false;
    value_ = sample;
    recordedMs_ = now;
    return true;
  }

  std::uint64_t value() const { return value_; }

 private:
  static constexpr std::int64_t kLifetimeMs = 3600000;

  std::uint64_t value_ = 0;
  std::int64_t recordedMs_ = 0;
};

}  // namespace com::corvane::connectivity::plugins
