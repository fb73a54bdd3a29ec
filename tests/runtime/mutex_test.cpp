#include "runtime/mutex.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace com::orvex {
namespace {

TEST(MutexTest, KeepsACopyOfItsName) {
  std::string name = "a name";
  const Mutex mutex(name.c_str());

  name = "another";

  EXPECT_STREQ(mutex.name(), "a name");
}

TEST(MutexTest, LetsOneThreadInAtATime) {
  Mutex mutex("one at a time");
  int count = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int j = 0; j < 10'000; ++j) {
          const AutoMutex lock(mutex);
          ++count;
        }
      });
    }
  }

  EXPECT_EQ(count, 40'000);
}

TEST(MutexTest, CanBeHeldOverAnyStretchOfCode) {
  Mutex mutex("held by hand");

  mutex.lock();
  mutex.unlock();

  mutex.lock();
  mutex.unlock();
}

TEST(AutoMutexTest, GivesTheMutexBackAtItsEnd) {
  Mutex mutex("scope");
  { const AutoMutex lock(mutex); }

  std::thread([&mutex] { const AutoMutex lock(mutex); }).join();
}

TEST(AutoMutexTest, GivesTheMutexBackEarly) {
  Mutex mutex("scope with early release");
  AutoMutex lock(mutex);

  lock.unlock();

  std::thread([&mutex] { const AutoMutex other(mutex); }).join();
}

TEST(AutoMutexTest, TakesTheMutexAgainAfterAnEarlyRelease) {
  Mutex mutex("scope with second taking");
  std::latch otherTries(1);
  bool isDone = false;
  bool wasDone = false;
  AutoMutex lock(mutex);

  lock.unlock();
  lock.lock();
  std::jthread other([&] {
    otherTries.count_down();
    const AutoMutex otherLock(mutex);
    wasDone = isDone;
  });
  otherTries.wait();
  isDone = true;
  lock.unlock();
  other.join();

  EXPECT_TRUE(wasDone);
}

// A library and its user may be built with and without NDEBUG: they must agree on this.
TEST(MutexTest, HasTheSameSizeInEveryKindOfBuild) {
  EXPECT_EQ(sizeof(Mutex), sizeof(pthread_mutex_t) + sizeof(std::string) + 8);
}

}  // namespace
}  // namespace com::orvex
