#include "runtime/schedulable_queue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

namespace com::orvex {
namespace {

TEST(SchedulableQueueTest, AThreadBeginsWithoutAQueue) {
  EXPECT_EQ(getCurrentSchedulableQueue(), nullptr);
}

TEST(SchedulableQueueTest, AScopeMarksTheThread) {
  SchedulableQueue queue;

  const AutoSchedulableQueue scope(&queue);

  EXPECT_EQ(getCurrentSchedulableQueue(), &queue);
}

TEST(SchedulableQueueTest, TheEarlierQueueStandsAgainAfterAScope) {
  SchedulableQueue outer;
  SchedulableQueue inner;
  const AutoSchedulableQueue outerScope(&outer);
  {
    const AutoSchedulableQueue innerScope(&inner);
    EXPECT_EQ(getCurrentSchedulableQueue(), &inner);
  }

  EXPECT_EQ(getCurrentSchedulableQueue(), &outer);
}

TEST(SchedulableQueueTest, NoQueueStandsAgainAfterTheOutermostScope) {
  SchedulableQueue queue;
  { const AutoSchedulableQueue scope(&queue); }

  EXPECT_EQ(getCurrentSchedulableQueue(), nullptr);
}

TEST(SchedulableQueueTest, ANullQueueChangesNothing) {
  SchedulableQueue queue;
  const AutoSchedulableQueue scope(&queue);
  {
    const AutoSchedulableQueue nothing(nullptr);
    EXPECT_EQ(getCurrentSchedulableQueue(), &queue);
  }

  EXPECT_EQ(getCurrentSchedulableQueue(), &queue);
}

TEST(SchedulableQueueTest, AScopeEndsWithAnException) {
  SchedulableQueue queue;
  try {
    const AutoSchedulableQueue scope(&queue);
    throw std::runtime_error("end");
  } catch (const std::runtime_error&) {
    EXPECT_EQ(getCurrentSchedulableQueue(), nullptr);
  }
}

TEST(SchedulableQueueTest, TheMarkIsTheThreadsOwn) {
  SchedulableQueue queue;
  const AutoSchedulableQueue scope(&queue);
  SchedulableQueue* seen = &queue;

  std::thread([&seen] { seen = getCurrentSchedulableQueue(); }).join();

  EXPECT_EQ(seen, nullptr);
}

}  // namespace
}  // namespace com::orvex
