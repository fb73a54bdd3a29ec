#include "transport/affinity_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <latch>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "model/get.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::data_t;
using connectivity10_15_0::get;
using connectivity10_15_0::Logger;
using connectivity10_15_0::Message;

constexpr char kFull[] =
    "<%s> AffinityQueue is full, must wait for something to be removed before adding more items - "
    "%d";

WorkItem queued(std::int64_t number) {
  Message message;
  message.payload = data_t(number);
  return message;
}

std::int64_t numberOf(WorkItem& taken) {
  return get<std::int64_t>(std::get<Message>(taken).payload);
}

// The level is read when the queue's logger is made.
struct VerboseHost : test_support::FakeHost {
  VerboseHost() { setLogLevel(6); }
};

class AffinityQueueTest : public testing::Test {
 protected:
  static AffinityQueue::Limits smallLimits() { return {4, 2, 5}; }

  static void add(AffinityQueue& queue, std::int64_t number,
                  std::optional<std::uint64_t> hash = std::nullopt, bool noWait = false) {
    orvex::AutoMutex lock(queue.mutex());
    queue.add(queued(number), hash, noWait);
    queue.broadcast();
  }

  static std::int64_t take(AffinityQueue& queue, std::size_t consumer) {
    WorkItem item = queue.take(consumer);
    return numberOf(item);
  }

  static std::string takeFailure(AffinityQueue& queue, std::size_t consumer = 0) {
    try {
      queue.take(consumer);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "took an item";
  }

  // Takes one item; false when the queue has been terminated.
  static bool takeOrEnd(AffinityQueue& queue, std::size_t consumer) {
    try {
      queue.take(consumer);
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  }

  // Returns once the condition, looked at with the mutex held, holds.
  template <typename Condition>
  static void waitUntil(AffinityQueue& queue, const Condition& condition) {
    while (true) {
      {
        orvex::AutoMutex lock(queue.mutex());
        if (condition()) break;
      }
      std::this_thread::yield();
    }
    std::this_thread::yield();
  }

  VerboseHost host_;
  Logger logger_{"queue"};
};

TEST_F(AffinityQueueTest, RefusesToHaveNoConsumers) {
  try {
    AffinityQueue queue(0, logger_);
    FAIL() << "made a queue for nobody";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "Must have at least one consumer");
  }
}

TEST_F(AffinityQueueTest, GivesOneConsumerEverythingInOrder) {
  AffinityQueue queue(1, logger_);

  for (std::int64_t i = 0; i < 6; ++i) {
    add(queue, i, i % 2 == 0 ? std::optional<std::uint64_t>(17 * i) : std::nullopt);
  }

  EXPECT_EQ(queue.count(), 6u);
  for (std::int64_t i = 0; i < 6; ++i) EXPECT_EQ(take(queue, 0), i);
  EXPECT_EQ(queue.count(), 0u);
}

TEST_F(AffinityQueueTest, GivesKeyedItemsToTheirConsumerOnly) {
  AffinityQueue queue(2, logger_);

  add(queue, 10, 0);
  add(queue, 11, 1);
  add(queue, 20, 2);
  add(queue, 21, 3);

  EXPECT_EQ(take(queue, 1), 11);
  EXPECT_EQ(take(queue, 1), 21);
  EXPECT_EQ(take(queue, 0), 10);
  EXPECT_EQ(take(queue, 0), 20);
}

TEST_F(AffinityQueueTest, GivesAnUnkeyedItemToTheFirstConsumerThatReachesIt) {
  AffinityQueue queue(3, logger_);
  add(queue, 1, 0);
  add(queue, 2);
  add(queue, 3, 0);
  add(queue, 4);
  add(queue, 5, 1);

  EXPECT_EQ(take(queue, 1), 2);
  EXPECT_EQ(take(queue, 0), 1);
  EXPECT_EQ(take(queue, 0), 3);
  EXPECT_EQ(take(queue, 2), 4);
  EXPECT_EQ(take(queue, 1), 5);
  EXPECT_EQ(queue.count(), 0u);
}

TEST_F(AffinityQueueTest, RunsTheTakeActionWhileItHoldsTheMutex) {
  AffinityQueue queue(1, logger_);
  add(queue, 1);
  bool ran = false;

  queue.take(0, [&] {
    ran = true;
    EXPECT_EQ(queue.count(), 0u);
  });

  EXPECT_TRUE(ran);
}

TEST_F(AffinityQueueTest, WakesAConsumerThatWaits) {
  AffinityQueue queue(2, logger_);
  std::int64_t taken = 0;
  std::thread consumer([&] { taken = take(queue, 1); });

  add(queue, 42, 1);
  consumer.join();

  EXPECT_EQ(taken, 42);
}

TEST_F(AffinityQueueTest, EndsAWaitingTakeWhenTerminated) {
  AffinityQueue queue(1, logger_);
  std::string failure;
  std::thread consumer([&] { failure = takeFailure(queue); });

  queue.terminate();
  consumer.join();

  EXPECT_EQ(failure, "This queue has been terminated");
}

TEST_F(AffinityQueueTest, PrefersItsEndOverItemsThatWait) {
  AffinityQueue queue(1, logger_);
  add(queue, 1);

  queue.terminate();

  EXPECT_EQ(takeFailure(queue), "This queue has been terminated");
  EXPECT_EQ(takeFailure(queue), "This queue has been terminated");
}

TEST_F(AffinityQueueTest, StillAddsWithoutWaitingWhenTerminated) {
  AffinityQueue queue(1, logger_, smallLimits());
  queue.terminate();

  for (std::int64_t i = 0; i < 10; ++i) add(queue, i);

  EXPECT_EQ(queue.count(), 10u);
}

TEST_F(AffinityQueueTest, ExceedsItsCapacityForThoseThatMustNotWait) {
  AffinityQueue queue(1, logger_, smallLimits());

  for (std::int64_t i = 0; i < 10; ++i) add(queue, i, 0, true);

  EXPECT_EQ(queue.count(), 10u);
  EXPECT_TRUE(host_.lines().empty());
}

TEST_F(AffinityQueueTest, HoldsAProducerBackWhileItIsFull) {
  AffinityQueue queue(1, logger_, smallLimits());
  for (std::int64_t i = 0; i < 4; ++i) add(queue, i);
  std::atomic<bool> added = false;
  std::thread producer([&] {
    add(queue, 4);
    added = true;
  });
  host_.waitForLine([](const auto& line) { return line.format == kFull; });

  EXPECT_FALSE(added);
  EXPECT_EQ(take(queue, 0), 0);
  producer.join();

  EXPECT_EQ(queue.count(), 4u);
  const auto lines = host_.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 5);
  EXPECT_EQ(lines[0].text,
            "<queue> AffinityQueue is full, must wait for something to be removed before adding "
            "more items - 4");
}

TEST_F(AffinityQueueTest, TakesTwoThousandAndFortyEightItemsAndNoMore) {
  AffinityQueue queue(1, logger_);
  for (std::int64_t i = 0; i < 2048; ++i) add(queue, i);
  EXPECT_TRUE(host_.lines().empty());
  std::thread producer([&] { add(queue, 2048); });

  const auto line =
      host_.waitForLine([](const auto& candidate) { return candidate.format == kFull; });
  take(queue, 0);
  producer.join();

  EXPECT_TRUE(line.text.ends_with("- 2048")) << line.text;
  EXPECT_EQ(queue.count(), 2048u);
}

// A producer that finds the queue full, and is let in by one take once it waits.
TEST_F(AffinityQueueTest, ReportsFullnessAgainOnlyAfterItHasDrained) {
  AffinityQueue queue(1, logger_, smallLimits());
  for (std::int64_t i = 0; i < 4; ++i) add(queue, i);
  const auto letOneIn = [&] {
    std::thread producer([&] { add(queue, 9); });
    take(queue, 0);
    producer.join();
  };
  const auto reported = [&] { return host_.lines().size(); };
  std::thread producer([&] { add(queue, 4); });
  host_.waitForLine([](const auto& line) { return line.format == kFull; });
  take(queue, 0);
  producer.join();

  for (int i = 0; i < 100; ++i) letOneIn();  // never below 3 items
  EXPECT_EQ(reported(), 1u);

  host_.clearLines();
  while (queue.count() > 2) take(queue, 0);
  while (queue.count() < 4) add(queue, 5);  // the first of these arms the line again
  std::thread late([&] { add(queue, 6); });
  host_.waitForLine([&](const auto& line) { return line.format == kFull; });
  take(queue, 0);
  late.join();
  EXPECT_EQ(reported(), 1u);
}

TEST_F(AffinityQueueTest, LetsABatchLargerThanItselfThroughWhenConsumersSleep) {
  AffinityQueue queue(2, logger_, smallLimits());
  std::atomic<int> taken = 0;
  const auto consume = [&](std::size_t consumer) {
    while (takeOrEnd(queue, consumer)) ++taken;
  };
  std::thread first(consume, 0);
  std::thread second(consume, 1);

  {
    orvex::AutoMutex lock(queue.mutex());
    for (std::int64_t i = 0; i < 6; ++i) queue.add(queued(i), std::nullopt, false);
    queue.broadcast();
  }
  while (queue.count() > 0) std::this_thread::yield();
  queue.terminate();
  first.join();
  second.join();

  EXPECT_EQ(taken, 6);
}

TEST_F(AffinityQueueTest, EndsTheWaitOfAProducerWhenTerminated) {
  AffinityQueue queue(1, logger_, smallLimits());
  for (std::int64_t i = 0; i < 4; ++i) add(queue, i);
  std::thread producer([&] { add(queue, 4); });
  host_.waitForLine([](const auto& line) { return line.format == kFull; });

  queue.terminate();
  producer.join();

  EXPECT_EQ(queue.count(), 5u);
}

TEST_F(AffinityQueueTest, KeepsTwoBarriersInOneOrderOnEveryList) {
  constexpr int kRounds = 1000;
  AffinityQueue queue(2, logger_, smallLimits());
  const auto produce = [&] {
    for (int round = 0; round < kRounds; ++round) {
      orvex::AutoMutex lock(queue.mutex());
      queue.addSentinel(std::make_shared<Sentinel>(2), false);
      queue.broadcast();
    }
  };
  std::vector<Sentinel*> seen[2];
  std::vector<WorkItem> keep[2];
  const auto consume = [&](std::size_t consumer) {
    for (int i = 0; i < 2 * kRounds; ++i) {
      keep[consumer].push_back(queue.take(consumer));
      seen[consumer].push_back(std::get<std::shared_ptr<Sentinel>>(keep[consumer].back()).get());
    }
  };
  std::vector<std::thread> threads;
  threads.emplace_back(produce);
  threads.emplace_back(produce);
  threads.emplace_back(consume, 0);
  threads.emplace_back(consume, 1);
  for (auto& thread : threads) thread.join();

  EXPECT_EQ(seen[0], seen[1]);
}

TEST_F(AffinityQueueTest, PassesItsCapacityByOneBarrierAtTheMost) {
  AffinityQueue queue(3, logger_, smallLimits());
  for (std::int64_t i = 0; i < 3; ++i) add(queue, i);

  orvex::AutoMutex lock(queue.mutex());
  queue.addSentinel(std::make_shared<Sentinel>(3), false);

  EXPECT_EQ(queue.count(), 6u);
}

TEST_F(AffinityQueueTest, LetsProducersThatWaitSleepUntilThereIsSpace) {
  AffinityQueue queue(2, logger_, {4, 2, 1000 * 1000});
  for (std::int64_t i = 0; i < 4; ++i) add(queue, i, 0);
  std::thread idle([&] { takeFailure(queue, 1); });
  waitUntil(queue, [&] { return queue.waitingConsumersForTest() == 1; });
  std::thread first([&] { add(queue, 4, 0); });
  std::thread second([&] { add(queue, 5, 0); });
  waitUntil(queue, [&] { return queue.producerWaitsForTest() >= 2; });

  // Many turns for two that wake each other.
  for (int turn = 0; turn < 2000; ++turn) waitUntil(queue, [] { return true; });
  take(queue, 0);  // wakes both; one finds the queue full again
  waitUntil(queue, [&] { return queue.producerWaitsForTest() >= 3; });
  take(queue, 0);
  first.join();
  second.join();

  EXPECT_EQ(queue.producerWaitsForTest(), 3u);
  queue.terminate();
  idle.join();
}

TEST_F(AffinityQueueTest, LeavesAConsumerWaitingThatIsWokenForAnothersItem) {
  AffinityQueue queue(2, logger_);
  std::int64_t taken = 0;
  std::thread consumer([&] { taken = take(queue, 0); });
  waitUntil(queue, [&] { return queue.waitingConsumersForTest() == 1; });

  for (std::int64_t i = 0; i < 100; ++i) add(queue, i, 1);
  add(queue, 100, 0);
  consumer.join();

  EXPECT_EQ(taken, 100);
  EXPECT_EQ(queue.count(), 100u);
}

TEST_F(AffinityQueueTest, TellsAConsumerOnceThatItIsGoingToWait) {
  AffinityQueue queue(2, logger_);
  int calls = 0;
  const auto onIdle = [&] {
    ++calls;
    add(queue, 3, 0);  // which takes the mutex
    add(queue, 4, 1);
  };
  add(queue, 2);

  WorkItem before = queue.take(0, nullptr, onIdle);
  EXPECT_EQ(calls, 0);
  WorkItem meanwhile = queue.take(0, nullptr, onIdle);

  EXPECT_EQ(calls, 1);
  EXPECT_EQ(numberOf(before), 2);
  EXPECT_EQ(numberOf(meanwhile), 3);
}

TEST_F(AffinityQueueTest, TellsNobodyToWaitWhenItHasEnded) {
  AffinityQueue queue(1, logger_);
  queue.terminate();
  int calls = 0;

  EXPECT_THROW(queue.take(0, nullptr, [&] { ++calls; }), std::runtime_error);

  EXPECT_EQ(calls, 0);
}

// Consumers that take until the queue ends.
class Takers {
 public:
  Takers(AffinityQueue& queue, const std::function<void()>& onTaken) {
    for (std::size_t i = 0; i < queue.consumers(); ++i) {
      threads_.emplace_back([&queue, i, onTaken] {
        try {
          while (true) {
            queue.take(i);
            onTaken();
          }
        } catch (const std::runtime_error&) {
        }
      });
    }
  }
  ~Takers() {
    for (auto& thread : threads_) thread.join();
  }
  Takers(const Takers&) = delete;
  Takers& operator=(const Takers&) = delete;

 private:
  std::vector<std::thread> threads_;
};

TEST_F(AffinityQueueTest, WakesOneConsumerForAnItem) {
  AffinityQueue queue(3, logger_);
  std::size_t wakes = 0;
  {
    const Takers takers(queue, [] {});
    const auto allWait = [&] { return queue.waitingConsumersForTest() == 3 && queue.count() == 0; };
    for (const std::optional<std::uint64_t> hash :
         {std::optional<std::uint64_t>(), std::optional<std::uint64_t>(1)}) {
      waitUntil(queue, allWait);
      add(queue, 1, hash);
      waitUntil(queue, allWait);
    }
    for (int turn = 0; turn < 2000; ++turn) waitUntil(queue, allWait);  // for those woken in vain
    orvex::AutoMutex lock(queue.mutex());
    wakes = queue.consumerWakesForTest();
    lock.unlock();
    queue.terminate();
  }

  EXPECT_EQ(wakes, 2u);
}

TEST_F(AffinityQueueTest, WakesAsManyConsumersAsABatchHasItems) {
  for (const std::ptrdiff_t consumers : {2, 40}) {
    AffinityQueue queue(static_cast<std::size_t>(consumers), logger_);
    std::latch together(consumers);
    const Takers takers(queue, [&] { together.arrive_and_wait(); });
    waitUntil(queue, [&] {
      return queue.waitingConsumersForTest() == static_cast<std::size_t>(consumers);
    });

    orvex::AutoMutex lock(queue.mutex());
    for (std::ptrdiff_t i = 0; i < consumers; ++i) queue.add(queued(i), std::nullopt, false);
    queue.broadcastAndUnlock(lock);

    together.wait();  // each has one
    queue.terminate();
  }
}

TEST_F(AffinityQueueTest, WakesEveryConsumerForABarrier) {
  AffinityQueue queue(3, logger_);
  std::latch together(3);
  const Takers takers(queue, [&] { together.arrive_and_wait(); });
  waitUntil(queue, [&] { return queue.waitingConsumersForTest() == 3; });

  orvex::AutoMutex lock(queue.mutex());
  queue.addSentinel(std::make_shared<Sentinel>(3), false);
  queue.broadcastAndUnlock(lock);

  together.wait();
  queue.terminate();
}

TEST_F(AffinityQueueTest, LetsAProducerInForAnEighthOfItsRoomWhileThatIsPatient) {
  constexpr std::int64_t kForEver = 1000 * 1000;
  AffinityQueue queue(1, logger_, {16, 2, kForEver, kForEver});
  for (std::int64_t i = 0; i < 16; ++i) add(queue, i);
  std::atomic<bool> added = false;
  std::thread producer([&] {
    add(queue, 16);
    added = true;
  });
  waitUntil(queue, [&] { return queue.producerWaitsForTest() == 1; });

  take(queue, 0);
  for (int turn = 0; turn < 2000; ++turn) waitUntil(queue, [] { return true; });
  EXPECT_FALSE(added);
  take(queue, 0);
  producer.join();

  EXPECT_EQ(queue.count(), 15u);
}

TEST_F(AffinityQueueTest, LetsAProducerInForTheFirstRoomWhenItsPatienceIsOver) {
  constexpr std::int64_t kForEver = 1000 * 1000;
  AffinityQueue queue(1, logger_, {16, 2, kForEver, 0});
  for (std::int64_t i = 0; i < 16; ++i) add(queue, i);
  std::thread producer([&] { add(queue, 16); });
  waitUntil(queue, [&] { return queue.producerWaitsForTest() == 1; });

  take(queue, 0);
  producer.join();

  EXPECT_EQ(queue.count(), 16u);
}

using AffinityQueueDeathTest = AffinityQueueTest;

// A debug build ends a program that takes the mutex twice.
TEST_F(AffinityQueueDeathTest, HoldsItsMutexWhileTheTakeActionRuns) {
  if (!orvex::Mutex::isOrderChecked()) return;
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  AffinityQueue queue(1, logger_);
  add(queue, 1);

  EXPECT_DEATH(queue.take(0, [&] { queue.mutex().lock(); }),
               "Mutex \"AffinityQueue\" is taken twice by one thread");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
