// The order check of the named mutexes. Where the library is built without it, the same programs
// run to their end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "runtime/condition.h"
#include "runtime/mutex.h"

namespace com::orvex {
namespace {

using testing::HasSubstr;

#ifdef NDEBUG
constexpr bool kIsChecked = false;
#else
constexpr bool kIsChecked = true;
#endif

// Runs a program that takes mutexes in opposite orders, though never so that it could block. Where
// the order is checked, it ends with the line.
void expectOrderFailure(const std::function<void()>& program, const std::string& line) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  if (kIsChecked) {
    EXPECT_DEATH(program(), HasSubstr(line + "\n"));
  } else {
    program();
  }
}

// Takes the mutexes one after the other, each inside of those before it, then gives all back. The
// compiler cannot follow that over a list.
void takeNested(const std::vector<Mutex*>& mutexes) OV_NO_THREAD_SAFETY_ANALYSIS {
  for (Mutex* const mutex : mutexes) mutex->lock();
  for (auto mutex = mutexes.rbegin(); mutex != mutexes.rend(); ++mutex) (*mutex)->unlock();
}

TEST(LockOrderTest, IsCheckedInDebugBuildsOnly) { EXPECT_EQ(Mutex::isOrderChecked(), kIsChecked); }

TEST(LockOrderTest, OneOrderIsAllowedAnyNumberOfTimes) {
  Mutex outer("same order outer");
  Mutex middle("same order middle");
  Mutex inner("same order inner");

  for (int i = 0; i < 3; ++i) {
    takeNested({&outer, &middle, &inner});
    takeNested({&outer, &inner});
    takeNested({&middle, &inner});
    takeNested({&outer, &middle});
  }
}

TEST(LockOrderTest, MutexesThatAreNotHeldTogetherHaveNoOrder) {
  Mutex first("apart 1");
  Mutex second("apart 2");

  takeNested({&first});
  takeNested({&second});
  takeNested({&first});
}

TEST(LockOrderTest, MayBeReleasedInAnyOrder) {
  Mutex outer("release outer");
  Mutex inner("release inner");

  outer.lock();
  inner.lock();
  outer.unlock();
  inner.unlock();

  takeNested({&outer, &inner});
}

TEST(LockOrderTest, MutexesOfOneNameAreNotCompared) {
  Mutex first("status item");
  Mutex second("status item");
  Mutex third("status item");

  takeNested({&first, &second});
  takeNested({&second, &third});
}

TEST(LockOrderDeathTest, TwoTakenInOppositeOrdersEndTheProcessWithBothNames) {
  Mutex first("A");
  Mutex second("B");

  expectOrderFailure(
      [&] {
        takeNested({&first, &second});
        takeNested({&second, &first});
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderDeathTest, AnOrderOverOtherMutexesCounts) {
  Mutex first("A");
  Mutex second("B");
  Mutex third("C");
  Mutex fourth("D");

  expectOrderFailure(
      [&] {
        takeNested({&third, &fourth});
        takeNested({&first, &second});
        takeNested({&second, &third});
        takeNested({&fourth, &first});
      },
      "Mutex \"A\" is taken while \"D\" is held, against the earlier order "
      "\"A\", \"B\", \"C\", \"D\"");
}

TEST(LockOrderDeathTest, EveryHeldMutexCountsNotOnlyTheLast) {
  Mutex first("A");
  Mutex second("B");
  Mutex third("C");

  expectOrderFailure(
      [&] {
        takeNested({&first, &second});
        takeNested({&second, &third, &first});
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderDeathTest, OrdersOfDifferentThreadsAreCompared) {
  Mutex first("A");
  Mutex second("B");

  expectOrderFailure(
      [&] {
        std::thread([&] { takeNested({&first, &second}); }).join();
        std::thread([&] { takeNested({&second, &first}); }).join();
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderDeathTest, OrdersOfDifferentMutexesOfTheSameNamesAreCompared) {
  Mutex first("A");
  Mutex second("B");
  Mutex otherFirst("A");
  Mutex otherSecond("B");

  expectOrderFailure(
      [&] {
        takeNested({&first, &second});
        takeNested({&otherSecond, &otherFirst});
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderDeathTest, AnOrderOutlivesItsMutexes) {
  expectOrderFailure(
      [] {
        {
          Mutex first("A");
          Mutex second("B");
          takeNested({&first, &second});
        }
        Mutex first("A");
        Mutex second("B");
        takeNested({&second, &first});
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

// More pairs than a thread remembers for itself: the shared record still knows them all.
TEST(LockOrderDeathTest, NoOrderIsForgotten) {
  constexpr std::size_t kNames = 200;
  std::deque<Mutex> mutexes;
  for (std::size_t i = 0; i < kNames; ++i)
    mutexes.emplace_back(("many " + std::to_string(i)).c_str());

  expectOrderFailure(
      [&] {
        for (std::size_t i = 0; i + 1 < kNames; ++i) takeNested({&mutexes[i], &mutexes[i + 1]});
        takeNested({&mutexes[1], &mutexes[0]});
      },
      "Mutex \"many 0\" is taken while \"many 1\" is held, against the earlier order "
      "\"many 0\", \"many 1\"");
}

TEST(LockOrderDeathTest, AWaitWithAnInnerMutexHeldIsAgainstTheOrder) {
  Mutex outer("A");
  Mutex inner("B");
  Condition condition(outer);

  expectOrderFailure(
      [&] {
        const AutoMutex outerLock(outer);
        const AutoMutex innerLock(inner);
        condition.timedwaitRelative(0);
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderTest, AWaitWithAnOuterMutexHeldIsInOrder) {
  Mutex outer("wait outer");
  Mutex inner("wait inner");
  Condition condition(inner);
  const AutoMutex outerLock(outer);
  const AutoMutex innerLock(inner);

  EXPECT_FALSE(condition.timedwaitRelative(0));
}

TEST(LockOrderDeathTest, OrdersAfterAWaitAreNoted) {
  Mutex outer("A");
  Mutex inner("B");
  Condition condition(outer);

  expectOrderFailure(
      [&] {
        {
          const AutoMutex outerLock(outer);
          condition.timedwaitRelative(0);
          const AutoMutex innerLock(inner);
        }
        takeNested({&inner, &outer});
      },
      "Mutex \"A\" is taken while \"B\" is held, against the earlier order \"A\", \"B\"");
}

TEST(LockOrderTest, AMutexGivenBackAfterAWaitIsNoLongerHeld) {
  Mutex waited("wait and go 1");
  Mutex other("wait and go 2");
  Condition condition(waited);
  {
    const AutoMutex lock(waited);
    condition.timedwaitRelative(0);
  }

  takeNested({&other, &waited});
}

TEST(LockOrderTest, ManyThreadsKeepingOneOrderDoNotDisturbEachOther) {
  std::deque<Mutex> mutexes;
  for (int i = 0; i < 8; ++i) mutexes.emplace_back(("crowd " + std::to_string(i)).c_str());
  std::vector<std::jthread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&mutexes, t] {
      for (int round = 0; round < 500; ++round) {
        const auto outer = static_cast<std::size_t>((round + t) % 6);
        takeNested({&mutexes[outer], &mutexes[outer + 1], &mutexes[7]});
      }
    });
  }
}

#ifndef NDEBUG

// Each breaks a rule that the compiler would see.
void takeOnly(Mutex& mutex) OV_NO_THREAD_SAFETY_ANALYSIS { mutex.lock(); }
void releaseOnly(Mutex& mutex) OV_NO_THREAD_SAFETY_ANALYSIS { mutex.unlock(); }

TEST(LockOrderDeathTest, OneTakenTwiceByAThreadEndsTheProcess) {
  Mutex mutex("twice");

  expectOrderFailure(
      [&] {
        takeNested({&mutex, &mutex});
      },
      "Mutex \"twice\" is taken twice by one thread");
}

TEST(LockOrderDeathTest, OneReleasedByAThreadThatDoesNotHoldItEndsTheProcess) {
  Mutex mutex("not held");
  Mutex other("held");

  expectOrderFailure(
      [&] {
        const AutoMutex lock(other);
        releaseOnly(mutex);
      },
      "Mutex \"not held\" is released by a thread that does not hold it");
}

TEST(LockOrderDeathTest, OneWaitedOnByAThreadThatDoesNotHoldItEndsTheProcess) {
  Mutex mutex("not held");
  Condition condition(mutex);

  expectOrderFailure([&] { condition.timedwaitRelative(0); },
                     "Mutex \"not held\" is waited on by a thread that does not hold it");
}

TEST(LockOrderDeathTest, OneDestroyedWhileHeldEndsTheProcess) {
  expectOrderFailure(
      [] {
        Mutex mutex("short life");
        takeOnly(mutex);
      },
      "Mutex \"short life\" is destroyed while it is held");
}

TEST(LockOrderTest, AThreadHolds32MutexesAtOnce) {
  std::deque<Mutex> mutexes;
  for (int i = 0; i < 32; ++i) mutexes.emplace_back("one of 32");
  std::vector<Mutex*> all;
  for (Mutex& mutex : mutexes) all.push_back(&mutex);

  takeNested(all);
}

TEST(LockOrderDeathTest, OneMoreThan32EndsTheProcess) {
  std::deque<Mutex> mutexes;
  for (int i = 0; i < 33; ++i) mutexes.emplace_back("one of 33");
  std::vector<Mutex*> all;
  for (Mutex& mutex : mutexes) all.push_back(&mutex);

  expectOrderFailure([&] { takeNested(all); },
                     "Mutex \"one of 33\" is taken by a thread that holds 32 others");
}

#endif

}  // namespace
}  // namespace com::orvex
