#include "runtime/condition.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

#include "runtime/platform.h"

namespace com::orvex {
namespace {

constexpr std::int64_t kForEverMs = 3'600'000;

class ConditionTest : public testing::Test {
 protected:
  // Changes the state that the test waits for, once the test waits: it holds the mutex until then.
  void release() {
    const AutoMutex lock(mutex_);
    isReleased_ = true;
    condition_.broadcast();
  }

  Mutex mutex_{"ConditionTest"};
  Condition condition_{mutex_};
  bool isReleased_ = false;
};

TEST_F(ConditionTest, WaitReturnsAfterABroadcast) {
  AutoMutex lock(mutex_);
  std::jthread other([this] { release(); });

  while (!isReleased_) condition_.wait();

  EXPECT_TRUE(isReleased_);
}

TEST_F(ConditionTest, BroadcastWakesEveryWaiter) {
  int waiting = 0;
  int woken = 0;
  std::vector<std::jthread> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&] {
      const AutoMutex lock(mutex_);
      ++waiting;
      condition_.broadcast();
      while (!isReleased_) condition_.wait();
      ++woken;
    });
  }
  {
    AutoMutex lock(mutex_);
    while (waiting < 4) condition_.wait();
  }

  release();
  waiters.clear();

  EXPECT_EQ(woken, 4);
}

TEST_F(ConditionTest, TimedWaitReturnsTrueWhenWoken) {
  AutoMutex lock(mutex_);
  std::jthread other([this] { release(); });

  bool isWoken = true;
  while (!isReleased_ && isWoken) isWoken = condition_.timedwaitRelative(kForEverMs);
  lock.unlock();
  other.join();

  EXPECT_TRUE(isWoken);
  EXPECT_TRUE(isReleased_);
}

TEST_F(ConditionTest, TimedWaitReturnsFalseWhenTheTimeIsUpAndNotBefore) {
  const AutoMutex lock(mutex_);
  constexpr std::int64_t kWaitMs = 20;

  // A wake-up without cause ends one wait early; the next one starts from the beginning.
  std::int64_t begin = Platform::monotonicNanos();
  while (condition_.timedwaitRelative(kWaitMs)) begin = Platform::monotonicNanos();

  EXPECT_GE(Platform::monotonicNanos() - begin, kWaitMs * 1'000'000);
}

TEST_F(ConditionTest, ATimeThatCrossesASecondIsUpAndNotBefore) {
  const AutoMutex lock(mutex_);
  constexpr std::int64_t kWaitMs = 999;

  std::int64_t begin = Platform::monotonicNanos();
  while (condition_.timedwaitRelative(kWaitMs)) begin = Platform::monotonicNanos();

  EXPECT_GE(Platform::monotonicNanos() - begin, kWaitMs * 1'000'000);
}

TEST_F(ConditionTest, ATimeOfZeroOrLessIsUpAtOnce) {
  const AutoMutex lock(mutex_);

  EXPECT_FALSE(condition_.timedwaitRelative(0));
  EXPECT_FALSE(condition_.timedwaitRelative(-1));
  EXPECT_FALSE(condition_.timedwaitRelative(std::numeric_limits<std::int64_t>::min()));
}

TEST_F(ConditionTest, TheLongestTimeIsAWait) {
  AutoMutex lock(mutex_);
  std::jthread other([this] { release(); });

  bool isWoken = true;
  while (!isReleased_ && isWoken) {
    isWoken = condition_.timedwaitRelative(std::numeric_limits<std::int64_t>::max());
  }
  lock.unlock();
  other.join();

  EXPECT_TRUE(isWoken);
}

TEST_F(ConditionTest, TheMutexIsHeldAgainAfterEveryKindOfWait) {
  int count = 0;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int j = 0; j < 1'000; ++j) {
        const AutoMutex lock(mutex_);
        condition_.timedwaitRelative(0);
        ++count;
        condition_.broadcast();
      }
    });
  }
  {
    AutoMutex lock(mutex_);
    while (count < 4'000) condition_.wait();
    EXPECT_EQ(count, 4'000);
  }
}

TEST_F(ConditionTest, ABroadcastThatNobodyWaitsForIsNotKept) {
  const AutoMutex lock(mutex_);
  condition_.broadcast();

  EXPECT_FALSE(condition_.timedwaitRelative(0));
}

}  // namespace
}  // namespace com::orvex
