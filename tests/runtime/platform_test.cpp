#include "runtime/platform.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "runtime/manual_clock.h"

namespace com::orvex {
namespace {

std::string textOf(double value) {
  std::array<char, Platform::kFloat64TextBytes> buffer{};
  return Platform::float64ToChar8(value, buffer.data());
}

TEST(PlatformTest, WritesTheShortestTextOfADouble) {
  EXPECT_EQ(textOf(0.0), "0");
  EXPECT_EQ(textOf(1.0), "1");
  EXPECT_EQ(textOf(-1.5), "-1.5");
  EXPECT_EQ(textOf(0.1), "0.1");
  EXPECT_EQ(textOf(0.1 + 0.2), "0.30000000000000004");
  EXPECT_EQ(textOf(10000.0), "10000");
  EXPECT_EQ(textOf(100000.0), "1e+05");
  EXPECT_EQ(textOf(123456.0), "123456");
  EXPECT_EQ(textOf(0.001), "0.001");
  EXPECT_EQ(textOf(0.0001), "1e-04");
  EXPECT_EQ(textOf(9007199254740993.0), "9007199254740992");
  EXPECT_EQ(textOf(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(textOf(std::numeric_limits<double>::denorm_min()), "5e-324");
}

TEST(PlatformTest, WritesNegativeZeroWithItsSign) { EXPECT_EQ(textOf(-0.0), "-0"); }

TEST(PlatformTest, WritesInfinitiesAsInf) {
  EXPECT_EQ(textOf(std::numeric_limits<double>::infinity()), "inf");
  EXPECT_EQ(textOf(-std::numeric_limits<double>::infinity()), "-inf");
}

TEST(PlatformTest, WritesEveryNanAsNan) {
  EXPECT_EQ(textOf(std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(textOf(-std::numeric_limits<double>::quiet_NaN()), "nan");
  EXPECT_EQ(textOf(std::bit_cast<double>(0xFFF0000000000001)), "nan");
}

TEST(PlatformTest, TextOfADoubleReadsBackAsTheSameBits) {
  std::mt19937_64 random(20240229);
  for (int i = 0; i < 100'000; ++i) {
    const auto value = std::bit_cast<double>(random());
    if (value != value) continue;

    const std::string text = textOf(value);

    ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
              std::bit_cast<std::uint64_t>(value))
        << text;
  }
}

TEST(PlatformTest, WritesTheLongestDoubleIntoABufferOfTheStatedSize) {
  std::array<char, Platform::kFloat64TextBytes> buffer{};

  const char* const text =
      Platform::float64ToChar8(-std::numeric_limits<double>::min(), buffer.data());

  EXPECT_STREQ(text, "-2.2250738585072014e-308");
  EXPECT_EQ(std::strlen(text) + 1, Platform::kFloat64TextBytes);
}

TEST(PlatformTest, Float64ToChar8ReturnsTheBuffer) {
  std::array<char, Platform::kFloat64TextBytes> buffer{};

  EXPECT_EQ(Platform::float64ToChar8(1.0, buffer.data()), buffer.data());
  EXPECT_EQ(Platform::float64ToChar8(std::numeric_limits<double>::quiet_NaN(), buffer.data()),
            buffer.data());
}

TEST(PlatformTest, MonotonicClockNeverGoesBack) {
  std::int64_t last = Platform::monotonicNanos();
  for (int i = 0; i < 100'000; ++i) {
    const std::int64_t next = Platform::monotonicNanos();

    ASSERT_GE(next, last);
    last = next;
  }
}

TEST(PlatformTest, HighResolutionTimeIsTheMonotonicClockInSeconds) {
  const double before = static_cast<double>(Platform::monotonicNanos()) / 1e9;
  const double time = Platform::relativeHighResTimeFloat();
  const double after = static_cast<double>(Platform::monotonicNanos()) / 1e9;

  EXPECT_LE(before, time);
  EXPECT_LE(time, after);
}

TEST(PlatformTest, SystemTimeIsInMillisecondsSince1970) {
  constexpr std::int64_t kYearMs = std::int64_t{365} * 24 * 3600 * 1000;

  const std::int64_t time = Platform::sysTime();

  EXPECT_GT(time, 50 * kYearMs);
  EXPECT_LT(time, 300 * kYearMs);
}

TEST(ManualClockTest, ShowsTheTimesItWasMadeWith) {
  const ManualClockForTest clock(2'500'000'000, 1'700'000'000'123);

  EXPECT_EQ(Platform::monotonicNanos(), 2'500'000'000);
  EXPECT_EQ(Platform::relativeHighResTimeFloat(), 2.5);
  EXPECT_EQ(Platform::sysTime(), 1'700'000'000'123);
}

TEST(ManualClockTest, AdvancesBothClocksTogether) {
  ManualClockForTest clock(1'000'000'000, 1'700'000'000'000);

  clock.advanceMs(250);
  clock.advanceNanos(1'500'000);

  EXPECT_EQ(Platform::monotonicNanos(), 1'251'500'000);
  EXPECT_EQ(Platform::sysTime(), 1'700'000'000'251);
}

TEST(ManualClockTest, SetsTheSystemTimeAlone) {
  ManualClockForTest clock(1'000, 1'700'000'000'000);

  clock.setSysTime(1'600'000'000'000);

  EXPECT_EQ(Platform::sysTime(), 1'600'000'000'000);
  EXPECT_EQ(Platform::monotonicNanos(), 1'000);
}

TEST(ManualClockTest, GivesTheSystemsTimeBackAtItsEnd) {
  const std::int64_t before = Platform::monotonicNanos();
  { const ManualClockForTest clock(-1, 0); }

  EXPECT_GE(Platform::monotonicNanos(), before);
  EXPECT_GT(Platform::sysTime(), 0);
}

}  // namespace
}  // namespace com::orvex
