#include "bench/journal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using bench::Journal;

TEST(JournalTest, CountsTheArrivalsOfAnOpenId) {
  Journal journal;
  EXPECT_TRUE(journal.open(5));

  EXPECT_EQ(journal.arrive(5), 0u);
  EXPECT_EQ(journal.arrive(5), 1u);

  EXPECT_EQ(journal.close(5), 2u);
  EXPECT_EQ(journal.counters().arrivals, 2u);
  EXPECT_EQ(journal.counters().strays, 0u);
}

TEST(JournalTest, RefusesToCloseWhatIsNotOpen) {
  Journal journal;
  journal.open(5);

  EXPECT_EQ(journal.close(6), std::nullopt);
  EXPECT_EQ(journal.close(5 + Journal::kSlots), std::nullopt);
  EXPECT_EQ(journal.close(5), 0u);
  EXPECT_EQ(journal.close(5), std::nullopt);
}

TEST(JournalTest, TakesArrivalsOfWhatIsNotOpenForStrays) {
  Journal journal;
  journal.open(5);

  EXPECT_EQ(journal.arrive(4), std::nullopt);
  EXPECT_EQ(journal.arrive(5 + Journal::kSlots), std::nullopt);

  EXPECT_EQ(journal.counters().strays, 2u);
  EXPECT_EQ(journal.close(5), 0u);
}

TEST(JournalTest, CountsWhatIsStillOpen) {
  Journal journal;
  for (std::uint64_t id = 1; id <= 10; ++id) journal.open(id);
  journal.close(3);

  EXPECT_EQ(journal.openIds(), 9u);
}

TEST(JournalTest, TellsWhenAnIdIsGivenUpForALaterOne) {
  Journal journal;
  journal.open(1);

  EXPECT_FALSE(journal.open(1 + Journal::kSlots));
  EXPECT_EQ(journal.close(1), std::nullopt);
  EXPECT_EQ(journal.close(1 + Journal::kSlots), 0u);
}

TEST(JournalTest, FindsIdsThatArriveBehindALaterOneOfTheirKey) {
  Journal journal;

  journal.arriveInOrder(1, 0);
  journal.arriveInOrder(4, 0);
  journal.arriveInOrder(4, 0);  // tried again
  journal.arriveInOrder(2, 1);  // another key
  EXPECT_EQ(journal.counters().disordered, 0u);

  journal.arriveInOrder(3, 0);
  EXPECT_EQ(journal.counters().disordered, 1u);
}

TEST(JournalTest, IsSharedWithAChild) {
  Journal journal;
  journal.open(7);

  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    journal.arrive(7);
    ::_exit(0);
  }
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);

  EXPECT_EQ(journal.close(7), 1u);
}

}  // namespace
