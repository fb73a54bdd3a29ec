#include "runtime/platform.h"

#include <time.h>

#include <charconv>
#include <cmath>
#include <cstring>

#include "runtime/manual_clock.h"

namespace com::orvex {
namespace {

timespec now(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time;
}

}  // namespace

std::int64_t Platform::monotonicNanos() {
  if (const auto nanos = ManualClockForTest::monotonicNanos()) return *nanos;
  const timespec time = now(CLOCK_MONOTONIC);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

double Platform::relativeHighResTimeFloat() { return static_cast<double>(monotonicNanos()) / 1e9; }

std::int64_t Platform::sysTime() {
  if (const auto millis = ManualClockForTest::sysTime()) return *millis;
  const timespec time = now(CLOCK_REALTIME);
  return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

char* Platform::float64ToChar8(double value, char* buffer) {
  if (std::isnan(value)) return std::strcpy(buffer, "nan");
  *std::to_chars(buffer, buffer + kFloat64TextBytes - 1, value).ptr = '\0';
  return buffer;
}

}  // namespace com::orvex
