#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "model/get.h"
#include "model/host_made.h"
#include "model/iterator_texts.h"
#include "model/map.h"
#include "model/scoped_environment.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;
using Sequence = std::vector<std::int64_t>;

constexpr char kDifferent[] = "Invalid comparison of iterators into different maps";

Sequence keysOf(const map_t& map) {
  Sequence keys;
  for (const auto& entry : map) keys.push_back(get<std::int64_t>(entry.key()));
  return keys;
}

TEST(MapIterationTest, VisitsEntriesInSlotOrder) {
  // Integers whose hashes fall on the slots 0, 2, 5 and 7 of eight, inserted in another order.
  const map_t map = mapOf(5, "d", 2, "b", 11, "c", 0, "a");

  EXPECT_EQ(keysOf(map), (Sequence{0, 2, 11, 5}));
}

TEST(MapIterationTest, LeavesDeletedSlotsOut) {
  map_t map = mapOf(5, "d", 2, "b", 11, "c", 0, "a");
  map.erase(map.find(data_t(0)));
  map.erase(map.find(data_t(11)));

  EXPECT_EQ(keysOf(map), (Sequence{2, 5}));
}

TEST(MapIterationTest, VisitsAnEmptyKey) {
  const map_t map = mapOf(data_t(), 1);
  int entries = 0;

  for (const auto& entry : map) {
    EXPECT_TRUE(entry.key().isEmpty());
    ++entries;
  }

  EXPECT_EQ(entries, 1);
}

TEST(MapIterationTest, VisitsAKeyWhoseStoredHashIsThatOfAFreeOrDeletedSlot) {
  map_t map = mapOf(0, "a", 2, "b");
  slotOf(map, 0).hash = 0;
  slotOf(map, 2).hash = 1;

  EXPECT_EQ(keysOf(map), (Sequence{0, 2}));
}

TEST(MapIterationTest, GivesValuesForWritingInAMapThatMayChange) {
  map_t map = mapOf(1, 10, 2, 20);

  for (auto& entry : map) entry.value() = data_t(get<std::int64_t>(entry.value()) + 1);

  EXPECT_EQ(get<std::int64_t>(map.find(data_t(1)).value()), 11);
  EXPECT_EQ(get<std::int64_t>(map.find(data_t(2)).value()), 21);
}

TEST(MapIterationTest, RefusesEveryUseOfAPositionAfterAnInsertion) {
  map_t map = mapOf(1, 10);
  auto position = map.begin();

  map.insert(2, 20);

  EXPECT_EQ(thrownText([&] { position.key(); }), kMapModified);
  EXPECT_EQ(thrownText([&] { position.value(); }), kMapModified);
  EXPECT_EQ(thrownText([&] { ++position; }), kMapModified);
  EXPECT_EQ(thrownText([&] { (void)(position == map.begin()); }), kMapModified);
  EXPECT_EQ(thrownText([&] { (void)(map.begin() == position); }), kMapModified);
  EXPECT_EQ(thrownText([&] { map.erase(position); }), kMapModified);
  EXPECT_EQ(map.size(), 2U);
}

TEST(MapIterationTest, RefusesAPositionAfterARemoval) {
  map_t map = mapOf(1, 10, 2, 20);
  const auto position = map.find(data_t(1));

  map.erase(map.find(data_t(2)));

  EXPECT_EQ(thrownText([&] { position.key(); }), kMapModified);
}

TEST(MapIterationTest, RefusesAPositionAfterAnotherBlockTookThePlace) {
  map_t map = mapOf(1, 10);
  const auto position = map.begin();

  map = mapOf(1, 10);

  EXPECT_EQ(thrownText([&] { position.key(); }), kMapModified);
}

TEST(MapIterationTest, RefusesAPositionAfterTheCapacityChanged) {
  map_t map = mapOf(1, 10);
  const auto position = map.begin();

  map.raw()->capacity = 7;

  EXPECT_EQ(thrownText([&] { position.key(); }), kMapModified);
  map.raw()->capacity = 8;
}

TEST(MapIterationTest, RefusesAnEndPositionAfterTheFirstInsertion) {
  map_t map;
  const auto end = map.end();

  map.insert(1, 10);

  EXPECT_EQ(thrownText([&] { (void)(map.begin() == end); }), kMapModified);
}

TEST(MapIterationTest, RefusesToGoOnAfterAnInsertionInALoop) {
  map_t map = mapOf(1, 10);

  EXPECT_EQ(thrownText([&] {
              for (auto& entry : map) map.insert(get<std::int64_t>(entry.value()), 0);
            }),
            kMapModified);
}

TEST(MapIterationTest, DoesNotNoticeARemovalFollowedByAnInsertion) {
  map_t map = mapOf(0, "a", 1, "b");
  const auto position = map.find(data_t(0));

  map.erase(map.find(data_t(1)));
  map.insert(9, "c");

  EXPECT_STREQ(get<const char*>(position.value()), "a");
}

TEST(MapIterationTest, RemovesNothingAtASlotThatWasEmptiedUnnoticed) {
  map_t map = mapOf(0, "a");
  const auto position = map.find(data_t(0));
  map.erase(map.find(data_t(0)));
  map.insert(1, "b");

  map.erase(position);

  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.raw()->deleted, 1U);
}

TEST(MapIterationTest, DoesNotNoticeAValueReplacedInPlace) {
  map_t map = mapOf(0, "a");
  const auto position = map.begin();

  map.find(data_t(0)).value() = data_t("b");

  EXPECT_STREQ(get<const char*>(position.value()), "b");
}

TEST(MapIterationTest, RefusesToComparePositionsOfDifferentMaps) {
  map_t left = mapOf(1, 10);
  map_t right = mapOf(1, 10);
  map_t none;
  map_t noneEither;

  EXPECT_EQ(thrownText([&] { (void)(left.begin() == right.begin()); }), kDifferent);
  EXPECT_EQ(thrownText([&] { (void)(left.begin() != right.end()); }), kDifferent);
  EXPECT_EQ(thrownText([&] { (void)(none.end() == noneEither.end()); }), kDifferent);
}

TEST(MapIterationTest, RefusesToRemoveAtAPositionOfAnotherMap) {
  map_t left = mapOf(1, 10);
  map_t right = mapOf(1, 10);

  EXPECT_EQ(thrownText([&] { left.erase(right.begin()); }), kDifferent);
  EXPECT_EQ(left.size() + right.size(), 2U);
}

TEST(MapIterationTest, RefusesTheEntryAtAnEndPosition) {
  map_t map = mapOf(1, 10);
  map_t none;

  EXPECT_EQ(thrownText([&] { map.end().key(); }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { map.end().value(); }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { none.begin().key(); }), "Out of bounds");
}

TEST(MapIterationTest, StaysAtTheEndWhenAdvancedThere) {
  map_t map = mapOf(1, 10);
  auto position = map.end();

  ++position;

  EXPECT_TRUE(position == map.end());
}

// ---- With the checks switched off

TEST(MapIterationTest, GoesOnAfterAnInsertionWithTheChecksSwitchedOff) {
  map_t map = mapOf(0, 10, 2, 20);
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");
  Sequence keys;

  for (auto& entry : map) {
    keys.push_back(get<std::int64_t>(entry.key()));
    map.insert(11, 30);  // at slot 5: still to come
  }

  EXPECT_EQ(keys, (Sequence{0, 2, 11}));
}

TEST(MapIterationTest, GoesOnWhateverTheVariableIsSetTo) {
  map_t map = mapOf(0, 10);
  const auto position = map.begin();
  map.insert(2, 20);

  for (const char* const value : {"", "0", "false"}) {
    const ScopedEnvironment skip(kSkipIteratorChecks, value);
    EXPECT_EQ(get<std::int64_t>(position.value()), 10) << "'" << value << "'";
  }
}

TEST(MapIterationTest, LooksTheVariableUpAtEachFailure) {
  map_t map = mapOf(0, 10);
  const auto position = map.begin();
  map.insert(2, 20);

  {
    const ScopedEnvironment skip(kSkipIteratorChecks, "1");
    EXPECT_NO_THROW(position.key());
  }
  EXPECT_EQ(thrownText([&] { position.key(); }), kMapModified);
  {
    const ScopedEnvironment skip(kSkipIteratorChecks, "1");
    EXPECT_NO_THROW(position.key());
  }
}

TEST(MapIterationTest, EndsWithTheChecksSwitchedOffThoughTheMapGrowsUnderTheLoop) {
  map_t map = mapOf(0, 10, 2, 20);
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");
  int visits = 0;

  for (auto& entry : map) {
    (void)entry.key();
    ++visits;
    for (int key = 100; key < 120; ++key) map.insert(key, 0);
  }

  EXPECT_GE(visits, 1);
  EXPECT_LE(visits, 8);  // the slots that there were when the loop began
  EXPECT_EQ(map.size(), 22U);
}

TEST(MapIterationTest, EndsAtAFreshEndToo) {
  map_t map = mapOf(0, 10, 2, 20);
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");
  int visits = 0;

  for (auto position = map.begin(); position != map.end(); ++position) {
    ++visits;
    for (int key = 100; key < 120; ++key) map.insert(key, 0);
  }

  EXPECT_LE(visits, 8);
}

TEST(MapIterationTest, NeverLeavesTheSlotsWithTheChecksSwitchedOff) {
  map_t map;
  for (int key = 0; key < 40; ++key) map.insert(key, key);
  const auto last = [&] {
    auto position = map.begin();
    for (auto next = position; next != map.end(); ++next) position = next;
    return position;
  }();
  auto advanced = last;
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");

  map = mapOf(1, 10);
  ++advanced;

  EXPECT_EQ(thrownText([&] { last.key(); }), "Out of bounds");
  EXPECT_NO_THROW(map.erase(last));
  EXPECT_TRUE(advanced == map.end());
  EXPECT_EQ(map.size(), 1U);
}

TEST(MapIterationTest, OutlivesTheLossOfTheBlockWithTheChecksSwitchedOff) {
  map_t map = mapOf(1, 10);
  auto position = map.begin();
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");

  map = map_t();

  EXPECT_EQ(thrownText([&] { position.value(); }), "Out of bounds");
  EXPECT_NO_THROW(++position);
  EXPECT_TRUE(position == map.end());
}

TEST(MapIterationTest, ComparesPositionsOfDifferentMapsWithTheChecksSwitchedOff) {
  map_t left = mapOf(0, 10);
  map_t right = mapOf(0, 10);
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");

  EXPECT_TRUE(left.begin() == right.begin());
  EXPECT_FALSE(left.begin() == right.end());
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
