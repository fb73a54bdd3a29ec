#include "runtime/manual_clock.h"

#include <atomic>
#include <cassert>

namespace com::orvex {
namespace {

// Plain numbers rather than a pointer to the clock: a thread that reads the time while the test
// ends reads one time or the other, and never memory that is gone.
constinit std::atomic<bool> manual = false;
constinit std::atomic<std::int64_t> manualNanos = 0;
constinit std::atomic<std::int64_t> manualSysNanos = 0;

}  // namespace

ManualClockForTest::ManualClockForTest(std::int64_t monotonicNanos, std::int64_t sysTimeMs) {
  assert(!manual);
  manualNanos = monotonicNanos;
  setSysTime(sysTimeMs);
  manual = true;
}

ManualClockForTest::~ManualClockForTest() { manual = false; }

void ManualClockForTest::advanceNanos(std::int64_t nanos) {
  manualNanos += nanos;
  manualSysNanos += nanos;
}

void ManualClockForTest::setSysTime(std::int64_t ms) { manualSysNanos = ms * 1'000'000; }

std::optional<std::int64_t> ManualClockForTest::monotonicNanos() {
  if (!manual.load(std::memory_order_relaxed)) return std::nullopt;
  return manualNanos.load(std::memory_order_relaxed);
}

std::optional<std::int64_t> ManualClockForTest::sysTime() {
  if (!manual.load(std::memory_order_relaxed)) return std::nullopt;
  return manualSysNanos.load(std::memory_order_relaxed) / 1'000'000;
}

}  // namespace com::orvex
