#include "metrics/utilization.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "metrics/busy_record.h"
#include "runtime/manual_clock.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {
namespace {

class UtilizationTest : public testing::Test {
 protected:
  std::optional<std::int64_t> nextPercent() {
    return utilization_.nextPercent(orvex::Platform::monotonicNanos());
  }

  orvex::ManualClockForTest clock_{123'456'789'000};
  BusyRecord record_{4};
  Utilization utilization_{record_};
};

TEST_F(UtilizationTest, IsTheBusyPartOfAllWorkersTime) {
  {
    const BusyScope busy(record_, 0);
    clock_.advanceMs(60);
  }
  {
    const BusyScope busy(record_, 3);
    clock_.advanceMs(20);
  }
  clock_.advanceMs(20);

  EXPECT_EQ(nextPercent(), 20);  // 80 of 4 times 100
}

TEST_F(UtilizationTest, IsZeroWhileNobodyWorks) {
  clock_.advanceMs(100);

  EXPECT_EQ(nextPercent(), 0);
}

TEST_F(UtilizationTest, CountsARequestThatIsStillRunning) {
  const BusyScope busy(record_, 1);
  clock_.advanceMs(100);

  EXPECT_EQ(nextPercent(), 25);

  clock_.advanceMs(300);

  EXPECT_EQ(nextPercent(), 25);
}

TEST_F(UtilizationTest, DoesNotCountTwiceWhatItHasCountedOfARunningRequest) {
  {
    const BusyScope busy(record_, 1);
    clock_.advanceMs(100);
    EXPECT_EQ(nextPercent(), 25);
    clock_.advanceMs(50);
  }
  clock_.advanceMs(50);

  EXPECT_EQ(nextPercent(), 12);  // 50 of 4 times 100, cut off

  clock_.advanceMs(100);

  EXPECT_EQ(nextPercent(), 0);
}

TEST_F(UtilizationTest, IsAHundredWhenAllWorkAllTheTime) {
  const BusyScope first(record_, 0);
  const BusyScope second(record_, 1);
  const BusyScope third(record_, 2);
  const BusyScope fourth(record_, 3);
  for (const std::int64_t nanos : {1'000'000, 1'234'567, 999'999'999, 1'000'001}) {
    clock_.advanceNanos(nanos);
    EXPECT_EQ(nextPercent(), 100) << nanos;
  }
}

TEST_F(UtilizationTest, CountsAWorkerForNoMoreThanTheWindow) {
  for (int i = 0; i < 10; ++i) {  // ten requests in a millisecond, which count a millisecond each
    const BusyScope busy(record_, 2);
    clock_.advanceNanos(100'000);
  }

  EXPECT_EQ(nextPercent(), 25);
}

TEST_F(UtilizationTest, GoesOnWithAWindowOfLessThanAMillisecond) {
  const BusyScope busy(record_, 0);
  EXPECT_EQ(nextPercent(), std::nullopt);
  clock_.advanceNanos(999'999);
  EXPECT_EQ(nextPercent(), std::nullopt);
  clock_.advanceNanos(1);

  EXPECT_EQ(nextPercent(), 25);
}

TEST_F(UtilizationTest, ARequestThatBeganAfterTheClockWasReadCountsNextTime) {
  clock_.advanceMs(100);
  const std::int64_t now = orvex::Platform::monotonicNanos();
  clock_.advanceMs(100);
  const BusyScope busy(record_, 0);

  EXPECT_EQ(utilization_.nextPercent(now), 0);

  clock_.advanceMs(100);

  EXPECT_EQ(nextPercent(), 12);  // 100 of 4 times 200, cut off
}

TEST_F(UtilizationTest, TakesYearsWithManyWorkers) {
  BusyRecord record(128);
  Utilization utilization(record);
  const BusyScope busy(record, 5);
  clock_.advanceMs(std::int64_t{2} * 365 * 24 * 3600 * 1000);

  EXPECT_EQ(utilization.nextPercent(orvex::Platform::monotonicNanos()), 0);  // 1 of 128

  clock_.advanceMs(std::int64_t{2} * 365 * 24 * 3600 * 1000);
  std::vector<std::unique_ptr<BusyScope>> all;
  EXPECT_EQ(utilization.nextPercent(orvex::Platform::monotonicNanos()), 0);
  for (std::size_t client = 6; client < 128; ++client) {
    all.push_back(std::make_unique<BusyScope>(record, client));
  }
  clock_.advanceMs(std::int64_t{2} * 365 * 24 * 3600 * 1000);

  EXPECT_EQ(utilization.nextPercent(orvex::Platform::monotonicNanos()), 96);  // 123 of 128
}

TEST_F(UtilizationTest, StaysBetweenNothingAndAHundredWhileWorkersWork) {
  std::atomic<bool> stop = false;
  std::vector<std::thread> workers;
  for (std::size_t client = 0; client < record_.clients(); ++client) {
    workers.emplace_back([&, client] {
      while (!stop) const BusyScope busy(record_, client);
    });
  }

  for (int window = 0; window < 2000; ++window) {
    clock_.advanceMs(1);
    const auto percent = nextPercent();
    EXPECT_GE(percent, 0);
    EXPECT_LE(percent, 100);
  }
  stop = true;
  for (auto& worker : workers) worker.join();
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
