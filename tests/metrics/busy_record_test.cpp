#include "metrics/busy_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <thread>

#include "runtime/manual_clock.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::int64_t kNanosPerMilli = 1'000'000;

class BusyRecordTest : public testing::Test {
 protected:
  std::int64_t millis(std::size_t client) const { return nanos(client) / kNanosPerMilli; }
  std::int64_t nanos(std::size_t client) const {
    return record_.busyNanos(client, orvex::Platform::monotonicNanos());
  }
  void beBusyFor(std::size_t client, std::int64_t nanos) {
    const BusyScope busy(record_, client);
    clock_.advanceNanos(nanos);
  }

  orvex::ManualClockForTest clock_{987'654'321};
  BusyRecord record_{2};
};

TEST_F(BusyRecordTest, CountsWholeMillisecondsRoundedUp) {
  beBusyFor(0, 200'000);
  EXPECT_EQ(nanos(0), kNanosPerMilli);

  beBusyFor(1, 2 * kNanosPerMilli);
  EXPECT_EQ(nanos(1), 2 * kNanosPerMilli);

  beBusyFor(1, 2 * kNanosPerMilli + 1);
  EXPECT_EQ(nanos(1), 5 * kNanosPerMilli);
}

TEST_F(BusyRecordTest, CountsNothingForARequestThatTakesNoTime) {
  beBusyFor(0, 0);

  EXPECT_EQ(nanos(0), 0);
}

TEST_F(BusyRecordTest, CountsTheRunningRequestSoFar) {
  beBusyFor(0, 3 * kNanosPerMilli);

  const BusyScope busy(record_, 0);
  EXPECT_EQ(nanos(0), 3 * kNanosPerMilli);
  clock_.advanceNanos(1'500'000);

  EXPECT_EQ(nanos(0), 4'500'000);
}

TEST_F(BusyRecordTest, CountsNothingBetweenRequests) {
  beBusyFor(0, kNanosPerMilli);

  clock_.advanceMs(1000);

  EXPECT_EQ(millis(0), 1);
  EXPECT_EQ(millis(1), 0);
}

TEST_F(BusyRecordTest, NeverFallsWhileItsWorkerWrites) {
  // A reader that saw the end of a request and its time apart would see the time twice or not.
  std::thread worker([&] {
    for (int i = 0; i < 20000; ++i) beBusyFor(0, kNanosPerMilli);
  });
  std::int64_t last = 0;
  while (last < 20000 * kNanosPerMilli) {
    const std::int64_t now = orvex::Platform::monotonicNanos();
    const std::int64_t total = record_.busyNanos(0, now);
    // A request may have begun after the clock was read, but none lasts longer than that.
    if (total < last - kNanosPerMilli) ADD_FAILURE() << last << " then " << total;
    last = std::max(last, total);
  }
  worker.join();

  EXPECT_EQ(nanos(0), 20000 * kNanosPerMilli);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
