// runtime/platform.h : the clocks, and numbers as text.
//
// Threads: any thread. Nothing blocks.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/export.h"

namespace com::orvex {

struct OV_EXPORT Platform {
  /// Nanoseconds on a clock that only goes forward, from an arbitrary start: for differences.
  static std::int64_t monotonicNanos();

  /// The same clock in seconds.
  static double relativeHighResTimeFloat();

  /// Milliseconds since the beginning of 1970, UTC. May jump when the system's time is set.
  static std::int64_t sysTime();

  /// What float64ToChar8 needs at most, in bytes, the closing NUL included.
  static constexpr std::size_t kFloat64TextBytes = 25;

  /// Writes the shortest text that reads back as exactly the same number, closed by a NUL, whatever
  /// the locale: with an exponent where that is shorter, without one where both are as long ("0.1",
  /// "1", "-0", "10000", "1e+05"). Infinities are "inf" and "-inf"; every NaN is "nan". Returns
  /// `buffer`, which has room for kFloat64TextBytes.
  static char* float64ToChar8(double value, char* buffer);
};

}  // namespace com::orvex
