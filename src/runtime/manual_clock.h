// runtime/manual_clock.h : a clock that stands still until a test moves it.
//
// Role:    while one lives, everything that Platform says about time comes from it. The waits of
//          Condition keep to the system's clock. Not installed; not for use outside of tests.
// Threads: made and destroyed by one thread, one at a time; moved and read by any.
#pragma once

#include <cstdint>
#include <optional>

#include "runtime/export.h"

namespace com::orvex {

class OV_EXPORT ManualClockForTest {
 public:
  /// Shows the given times: nanoseconds of the monotonic clock, milliseconds since 1970.
  /// REQUIRES: no other one lives.
  explicit ManualClockForTest(std::int64_t monotonicNanos = 0, std::int64_t sysTimeMs = 0);
  ManualClockForTest(const ManualClockForTest&) = delete;
  ManualClockForTest& operator=(const ManualClockForTest&) = delete;
  /// Platform shows the system's time again.
  ~ManualClockForTest();

  /// Lets time pass, on both clocks.
  void advanceNanos(std::int64_t nanos);
  void advanceMs(std::int64_t ms) { advanceNanos(ms * 1'000'000); }

  /// Sets the system's time, forward or back, as an operator would; the monotonic clock stays.
  void setSysTime(std::int64_t ms);

  /// For Platform: the times to show, or none while no manual clock lives.
  static std::optional<std::int64_t> monotonicNanos();
  static std::optional<std::int64_t> sysTime();
};

}  // namespace com::orvex
