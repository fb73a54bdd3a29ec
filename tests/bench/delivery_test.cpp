#include "bench/delivery.h"

#include <gtest/gtest.h>

#include <set>
#include <thread>
#include <vector>

namespace {

using bench::IdSource;

TEST(IdSourceTest, GivesNoIdsAtFirst) {
  IdSource ids;

  EXPECT_EQ(ids.take(5).end, 0u);
  EXPECT_EQ(ids.next(), 1u);
}

TEST(IdSourceTest, GivesIdsUpToItsEnd) {
  IdSource ids;
  ids.setEnd(8);

  const auto first = ids.take(5);
  const auto second = ids.take(5);
  const auto third = ids.take(5);

  EXPECT_EQ(first.first, 1u);
  EXPECT_EQ(first.end, 6u);
  EXPECT_EQ(second.first, 6u);
  EXPECT_EQ(second.end, 8u);
  EXPECT_EQ(third.first, third.end);
}

TEST(IdSourceTest, GoesOnWhereItEndedAndEndsAtOnceWhenToldTo) {
  IdSource ids;
  ids.setEnd(3);
  ids.take(5);
  ids.setEnd(~std::uint64_t{0});

  EXPECT_EQ(ids.take(2).first, 3u);
  ids.setEnd(0);
  const auto none = ids.take(2);
  EXPECT_EQ(none.first, none.end);
  EXPECT_EQ(ids.next(), 5u);
}

TEST(IdSourceTest, GivesEachIdToOneThreadOnly) {
  IdSource ids;
  ids.setEnd(10'001);
  std::vector<std::vector<std::uint64_t>> taken(4);
  {
    std::vector<std::jthread> threads;
    for (auto& own : taken) {
      threads.emplace_back([&ids, &own] {
        for (auto range = ids.take(7); range.first != range.end; range = ids.take(7)) {
          for (std::uint64_t id = range.first; id < range.end; ++id) own.push_back(id);
        }
      });
    }
  }

  std::set<std::uint64_t> all;
  std::size_t count = 0;
  for (const auto& own : taken) {
    all.insert(own.begin(), own.end());
    count += own.size();
  }
  EXPECT_EQ(count, 10'000u);
  EXPECT_EQ(all.size(), 10'000u);
}

}  // namespace
