#include "transport/sentinel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::int64_t kForeverMs = 1000 * 1000;

TEST(SentinelTest, LetsNobodyPassBeforeAllHaveCome) {
  Sentinel sentinel(3);

  sentinel.reach(0);
  sentinel.reach(2);

  EXPECT_FALSE(sentinel.waitFor(1));
  sentinel.reach(1);
  EXPECT_TRUE(sentinel.waitFor(kForeverMs));
}

TEST(SentinelTest, WakesThoseThatWaitWhenTheLastOneComes) {
  Sentinel sentinel(2);
  std::atomic<int> passed = 0;
  std::thread first([&] {
    sentinel.reach(0);
    passed += sentinel.waitFor(kForeverMs);
  });
  std::thread watcher([&] { passed += sentinel.waitFor(kForeverMs); });

  sentinel.reach(1);
  first.join();
  watcher.join();

  EXPECT_EQ(passed, 2);
}

TEST(SentinelTest, CountsEachConsumerOnce) {
  Sentinel sentinel(2);

  sentinel.reach(1);
  sentinel.reach(1);

  EXPECT_FALSE(sentinel.waitFor(1));
  sentinel.reach(0);
  EXPECT_TRUE(sentinel.waitFor(kForeverMs));
  sentinel.reach(0);
  EXPECT_TRUE(sentinel.waitFor(kForeverMs));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
