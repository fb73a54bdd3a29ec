#include "metrics/hourly_maximum.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::int64_t kWindowMs = 3600000;

class HourlyMaximumTest : public testing::Test {
 protected:
  orvex::ManualClockForTest clock_{0, 1700000000000};
  HourlyMaximum maximum_;
};

TEST_F(HourlyMaximumTest, BeginsAtZero) { EXPECT_EQ(maximum_.value(), 0u); }

TEST_F(HourlyMaximumTest, RisesWithALargerSample) {
  EXPECT_TRUE(maximum_.add(10));
  EXPECT_TRUE(maximum_.add(11));
  EXPECT_EQ(maximum_.value(), 11u);
}

TEST_F(HourlyMaximumTest, StaysForSamplesThatAreNotLarger) {
  maximum_.add(10);

  EXPECT_FALSE(maximum_.add(10));
  EXPECT_FALSE(maximum_.add(9));
  EXPECT_FALSE(maximum_.add(0));
  EXPECT_EQ(maximum_.value(), 10u);
}

TEST_F(HourlyMaximumTest, LastsForExactlyAnHour) {
  maximum_.add(1000);
  clock_.advanceMs(kWindowMs);

  EXPECT_FALSE(maximum_.add(10));
  EXPECT_EQ(maximum_.value(), 1000u);

  clock_.advanceMs(1);

  EXPECT_TRUE(maximum_.add(10));
  EXPECT_EQ(maximum_.value(), 10u);
}

TEST_F(HourlyMaximumTest, DoesNotFallWithoutSamples) {
  maximum_.add(1000);
  clock_.advanceMs(2 * kWindowMs);

  EXPECT_EQ(maximum_.value(), 1000u);
}

TEST_F(HourlyMaximumTest, CountsTheHourFromTheLatestMaximum) {
  maximum_.add(10);
  clock_.advanceMs(kWindowMs);
  maximum_.add(20);
  clock_.advanceMs(kWindowMs);

  EXPECT_FALSE(maximum_.add(5));
}

TEST_F(HourlyMaximumTest, ASampleThatIsNotLargerDoesNotRenewTheHour) {
  maximum_.add(10);
  clock_.advanceMs(kWindowMs);
  maximum_.add(10);
  clock_.advanceMs(1);

  EXPECT_TRUE(maximum_.add(5));
}

TEST_F(HourlyMaximumTest, ForgetsWhatWasSmallerThanTheMaximumThatRanOut) {
  maximum_.add(1000);
  clock_.advanceMs(kWindowMs);
  maximum_.add(900);
  clock_.advanceMs(1);

  EXPECT_TRUE(maximum_.add(10));
  EXPECT_EQ(maximum_.value(), 10u);
}

TEST_F(HourlyMaximumTest, KeepsToTheSystemsTime) {
  maximum_.add(10);
  clock_.setSysTime(1700000000000 + kWindowMs + 1);

  EXPECT_TRUE(maximum_.add(5));
}

TEST_F(HourlyMaximumTest, LastsLongerWhenTheSystemsTimeIsSetBack) {
  maximum_.add(10);
  clock_.setSysTime(1600000000000);

  EXPECT_FALSE(maximum_.add(5));
  EXPECT_TRUE(maximum_.add(11));
}

TEST_F(HourlyMaximumTest, ComparesAsUnsigned) {
  maximum_.add(std::numeric_limits<std::uint64_t>::max());

  EXPECT_FALSE(maximum_.add(5));
  EXPECT_EQ(maximum_.value(), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
