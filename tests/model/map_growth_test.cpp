// The slots by number: integer keys whose hashes fall on known slots of a map of eight.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/map.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;
using Numbers = std::vector<std::uint64_t>;

// Keys by the slot of eight that their hash falls on.
constexpr std::int64_t kSlot0[] = {0, 15, 16, 31, 39};
constexpr std::int64_t kSlot1[] = {1, 7, 9};
constexpr std::int64_t kSlot7[] = {5, 18, 22, 30};

std::int64_t keyAt(const map_t& map, std::uint64_t slot) {
  const kel_data& key = slotOf(map, slot).key;
  return key.tag == KEL_TAG_INTEGER ? key.payload.integer : -1;
}

map_t withKeys(std::int64_t first, std::int64_t last) {
  map_t map;
  for (std::int64_t key = first; key <= last; ++key) map.insert(key, key);
  return map;
}

bool holds(const map_t& map, std::int64_t key) { return map.find(data_t(key)) != map.end(); }

TEST(MapGrowthTest, KeysOfTheTableFallOnTheirSlots) {
  for (const std::int64_t key : kSlot0) EXPECT_EQ(data_t(key).hash() % 8, 0U) << key;
  for (const std::int64_t key : kSlot1) EXPECT_EQ(data_t(key).hash() % 8, 1U) << key;
  for (const std::int64_t key : kSlot7) EXPECT_EQ(data_t(key).hash() % 8, 7U) << key;
}

TEST(MapGrowthTest, TheFirstInsertionAllocatesEightSlots) {
  HostCalls calls;
  map_t map;

  map.insert(1, 1);

  EXPECT_EQ(calls.count("kel_allocate_map"), 1U);
  EXPECT_EQ(calls.capacities(), Numbers{8});
  EXPECT_EQ(map.raw()->capacity, 8U);
  EXPECT_EQ(map.raw()->label, nullptr);
}

TEST(MapGrowthTest, InsertionsTwoToSevenGoIntoTheSameBlock) {
  HostCalls calls;

  const map_t map = withKeys(1, 7);

  EXPECT_EQ(calls.count("kel_reallocate_map"), 0U);
  EXPECT_EQ(map.raw()->capacity, 8U);
  EXPECT_EQ(map.size(), 7U);
}

TEST(MapGrowthTest, TheEighthInsertionGrowsToSixteenFirst) {
  HostCalls calls;

  const map_t map = withKeys(1, 8);

  EXPECT_EQ(calls.capacities(), (Numbers{8, 16}));
  EXPECT_EQ(map.raw()->capacity, 16U);
  EXPECT_EQ(map.size(), 8U);
}

TEST(MapGrowthTest, GrowsAtEveryPassingOfThreeQuarters) {
  HostCalls calls;

  const map_t map = withKeys(1, 1000);

  // From the n-th entry on: 8 slots hold 7, 16 hold 13, 28 hold 22, 46 hold 35 and so on.
  EXPECT_EQ(calls.capacities(), (Numbers{8, 16, 28, 46, 72, 112, 172, 262, 396, 598, 900, 1354}));
  EXPECT_EQ(map.size(), 1000U);
  for (std::int64_t key = 1; key <= 1000; ++key) EXPECT_TRUE(holds(map, key)) << key;
}

TEST(MapGrowthTest, AnExistingKeyNeverGrowsAFullMap) {
  map_t map = withKeys(1, 7);
  HostCalls calls;

  EXPECT_FALSE(map.insert(4, 40).second);

  EXPECT_EQ(calls.count("kel_reallocate_map"), 0U);
}

TEST(MapGrowthTest, ProbesOnFromTheSlotOfTheHash) {
  map_t map;

  for (const std::int64_t key : kSlot0) map.insert(key, key);

  EXPECT_EQ(occupiedSlots(map), (Numbers{0, 1, 2, 3, 4}));
  for (std::uint64_t i = 0; i < 5; ++i) EXPECT_EQ(keyAt(map, i), kSlot0[i]) << i;
}

TEST(MapGrowthTest, ProbesOverTheLastSlotToTheFirst) {
  map_t map;

  for (const std::int64_t key : kSlot7) map.insert(key, key);

  EXPECT_EQ(occupiedSlots(map), (Numbers{0, 1, 2, 7}));
  EXPECT_EQ(keyAt(map, 7), kSlot7[0]);
  EXPECT_EQ(keyAt(map, 2), kSlot7[3]);
  EXPECT_TRUE(holds(map, kSlot7[3]));
}

TEST(MapGrowthTest, FindsBehindADeletedSlot) {
  map_t map;
  for (const std::int64_t key : kSlot0) map.insert(key, key);

  map.erase(map.find(data_t(kSlot0[1])));

  EXPECT_FALSE(holds(map, kSlot0[1]));
  EXPECT_TRUE(holds(map, kSlot0[4]));
}

TEST(MapGrowthTest, ReusesTheFirstDeletedSlotAndLeavesTheDeletedCount) {
  map_t map;
  for (int i = 0; i < 4; ++i) map.insert(kSlot0[i], i);
  map.erase(map.find(data_t(kSlot0[1])));
  map.erase(map.find(data_t(kSlot0[2])));
  ASSERT_EQ(map.raw()->deleted, 2U);

  map.insert(kSlot0[4], 4);

  EXPECT_EQ(keyAt(map, 1), kSlot0[4]);
  EXPECT_EQ(slotOf(map, 2).hash, 1U);
  EXPECT_EQ(map.raw()->count, 3U);
  EXPECT_EQ(map.raw()->deleted, 2U);
}

TEST(MapGrowthTest, LooksBehindDeletedSlotsBeforeItInserts) {
  map_t map;
  for (int i = 0; i < 3; ++i) map.insert(kSlot0[i], i);
  map.erase(map.find(data_t(kSlot0[0])));

  EXPECT_FALSE(map.insert(kSlot0[2], 20).second);

  EXPECT_EQ(map.size(), 2U);
}

TEST(MapGrowthTest, PassesOverADeletedSlotThatIsNotOnItsWay) {
  map_t map;
  map.insert(kSlot0[0], 0);
  map.insert(kSlot1[0], 1);
  map.erase(map.find(data_t(kSlot0[0])));

  map.insert(kSlot1[1], 2);

  EXPECT_EQ(slotOf(map, 0).hash, 1U);
  EXPECT_EQ(keyAt(map, 2), kSlot1[1]);
}

TEST(MapGrowthTest, CountsDeletedSlotsAsLoad) {
  map_t map = withKeys(1, 7);
  for (std::int64_t key = 1; key <= 5; ++key) map.erase(map.find(data_t(key)));
  HostCalls calls;

  map.insert(100, 100);

  EXPECT_EQ(calls.capacities(), Numbers{8});  // two entries: 2 * 2 + 2 is less than eight
  EXPECT_EQ(map.raw()->deleted, 0U);
  EXPECT_EQ(map.size(), 3U);
  EXPECT_TRUE(holds(map, 6) && holds(map, 7) && holds(map, 100));
}

TEST(MapGrowthTest, GrowsToASmallerBlockWhereTheFormulaSaysSo) {
  map_t map = withKeys(1, 13);
  ASSERT_EQ(map.raw()->capacity, 16U);
  for (std::int64_t key = 1; key <= 9; ++key) map.erase(map.find(data_t(key)));
  HostCalls calls;

  map.insert(100, 100);

  EXPECT_EQ(calls.capacities(), Numbers{10});
  EXPECT_EQ(map.raw()->capacity, 10U);
  for (const std::int64_t key : {10, 11, 12, 13, 100}) EXPECT_TRUE(holds(map, key)) << key;
}

TEST(MapGrowthTest, GrowsWhenNoSlotIsFreeOrDeleted) {
  // A host may give out full blocks: four slots, all taken.
  map_t map = map_t::adopt(kel_reallocate_map(withKeys(1, 4).release(), 4));
  ASSERT_EQ(map.raw()->capacity, 4U);
  ASSERT_FALSE(holds(map, 5));
  HostCalls calls;

  map.insert(5, 5);

  EXPECT_EQ(calls.capacities(), Numbers{10});
  for (std::int64_t key = 1; key <= 5; ++key) EXPECT_TRUE(holds(map, key)) << key;
}

TEST(MapGrowthTest, GrowsOnceMoreWhenTheFirstGrowthMadeNoRoom) {
  map_t map = withKeys(1, 7);
  HostCalls calls;
  int growths = 0;
  calls.reallocateMapWith([&growths](map_block* block, std::uint64_t capacity) {
    map_block* const grown = HostCalls::hostsReallocateMap(block, capacity);
    if (++growths == 1) grown->deleted = 100;
    return grown;
  });

  EXPECT_TRUE(map.insert(8, 8).second);

  EXPECT_EQ(growths, 2);
  EXPECT_EQ(map.size(), 8U);
}

TEST(MapGrowthTest, RefusesInsteadOfGrowingForEver) {
  map_t map = withKeys(1, 7);
  HostCalls calls;
  int growths = 0;
  calls.reallocateMapWith([&growths](map_block* block, std::uint64_t) {
    ++growths;
    return block;
  });

  EXPECT_EQ(thrownText([&] { map.insert("key", "value"); }),
            "Cannot insert into a map that the host does not grow");

  EXPECT_EQ(growths, 2);
  EXPECT_EQ(map.size(), 7U);
  EXPECT_EQ(calls.count("kel_free_string"), 2U);  // what was to be inserted
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
