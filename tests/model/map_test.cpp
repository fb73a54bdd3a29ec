#include "model/map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/thrown_text.h"
#include "plugin/allocation_counter.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

std::int64_t integerAt(const map_t& map, const data_t& key) {
  const auto position = map.find(key);
  return position == map.end() ? -1 : get<std::int64_t>(position.value());
}

// ---- Without a block

TEST(MapTest, IsBornWithoutABlock) {
  HostCalls calls;

  const map_t map;

  EXPECT_EQ(map.raw(), nullptr);
  EXPECT_EQ(map.size(), 0U);
  EXPECT_TRUE(map.empty());
  EXPECT_TRUE(map.begin() == map.end());
  EXPECT_EQ(calls.total(), 0U);
}

TEST(MapTest, FindsNothingWithoutABlock) {
  map_t map;

  EXPECT_TRUE(map.find(data_t(1)) == map.end());
  EXPECT_TRUE(map.find("a") == map.end());
  EXPECT_TRUE(map.find(MapKey("a")) == map.end());
}

TEST(MapTest, FindsNothingInABlockWithoutSlots) {
  map_t map = map_t::adopt(kel_allocate_map(0));

  EXPECT_TRUE(map.find(data_t(1)) == map.end());
}

TEST(MapTest, InsertsIntoABlockWithoutSlots) {
  map_t map = map_t::adopt(kel_allocate_map(0));
  HostCalls calls;

  map.insert(1, 10);

  EXPECT_EQ(calls.capacities(), std::vector<std::uint64_t>{8});
  EXPECT_EQ(integerAt(map, 1), 10);
}

// ---- Finding

TEST(MapTest, FindsByValueTextAndSharedKey) {
  const map_t map = mapOf("a", 1, "b", 2);
  const MapKey key("b");

  EXPECT_EQ(get<std::int64_t>(map.find(data_t("a")).value()), 1);
  EXPECT_EQ(get<std::int64_t>(map.find("a").value()), 1);
  EXPECT_EQ(get<std::int64_t>(map.find(key).value()), 2);
  EXPECT_TRUE(map.find("c") == map.end());
}

TEST(MapTest, FindsKeysOfEveryKind) {
  map_t map;
  map.insert(data_t(), 0);
  map.insert(true, 1);
  map.insert(false, 2);
  map.insert(1.5, 3);
  map.insert(7, 4);
  map.insert(*orvex::decimal64::fromText("1.25"), 5);
  map.insert("text", 6);
  map.insert(listOf(1, "a"), 7);
  map.insert(mapOf("k", 1), 8);
  map.insert(bufferOf("abc"), 9);
  map.insert(borrowed("text"), 10);

  EXPECT_EQ(map.size(), 11U);
  EXPECT_EQ(integerAt(map, data_t()), 0);
  EXPECT_EQ(integerAt(map, true), 1);
  EXPECT_EQ(integerAt(map, false), 2);
  EXPECT_EQ(integerAt(map, 1.5), 3);
  EXPECT_EQ(integerAt(map, 7), 4);
  EXPECT_EQ(integerAt(map, *orvex::decimal64::fromText("1.25")), 5);
  EXPECT_EQ(integerAt(map, "text"), 6);
  EXPECT_EQ(integerAt(map, listOf(1, "a")), 7);
  EXPECT_EQ(integerAt(map, mapOf("k", 1)), 8);
  EXPECT_EQ(integerAt(map, bufferOf("abc")), 9);
  EXPECT_EQ(integerAt(map, borrowed("text")), 10);
}

TEST(MapTest, StoresTheSeedAndItsComplementAsHashesOfBooleanKeys) {
  map_t map;
  const auto yes = map.insert(true, 1);
  const std::uint64_t yesSlot = occupiedSlots(map)[0];

  map.insert(false, 2);

  EXPECT_TRUE(yes.second);
  EXPECT_EQ(slotOf(map, yesSlot).hash, 0x243FCAF1U);
  EXPECT_EQ(slotOf(map, 0xFFFFFFFFDBC0350EU % 8).hash, 0xFFFFFFFFDBC0350EU);
  EXPECT_EQ(integerAt(map, true), 1);
  EXPECT_EQ(integerAt(map, false), 2);
}

TEST(MapTest, AnEmptyKeyHashesToTheSeedAndIsLegal) {
  map_t map;

  map.insert(data_t(), "v");

  EXPECT_EQ(slotOf(map, 0x243FCAF1U % 8).hash, 0x243FCAF1U);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_STREQ(get<const char*>(map.find(data_t()).value()), "v");
  EXPECT_FALSE(map.insert(data_t(), "w").second);
}

TEST(MapTest, DoesNotFindABorrowedKeyByAnOwnedText) {
  const map_t map = mapOf(borrowed("abc"), 1);

  EXPECT_TRUE(map.find("abc") == map.end());
  EXPECT_TRUE(map.find(MapKey("abc")) == map.end());
  EXPECT_FALSE(map.find(borrowed("abc")) == map.end());
}

TEST(MapTest, BothZeroesAreOneKey) {
  map_t map = mapOf(0.0, 1);

  EXPECT_EQ(integerAt(map, -0.0), 1);
  EXPECT_FALSE(map.insert(-0.0, 2).second);
}

TEST(MapTest, AddsAnEntryForEveryNanAndFindsNone) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  map_t map;

  for (int i = 1; i <= 3; ++i) EXPECT_TRUE(map.insert(nan, i).second);

  EXPECT_EQ(map.size(), 3U);
  EXPECT_TRUE(map.find(data_t(nan)) == map.end());
}

TEST(MapTest, RefusesCustomKeys) {
  CustomObject object;
  map_t map;

  EXPECT_EQ(thrownText([&] { map.insert(object.value(), 1); }),
            "Cannot use custom values as a key");
  EXPECT_EQ(thrownText([&] { map.find(object.value()); }), "Cannot use custom values as a key");
  EXPECT_EQ(map.raw(), nullptr);
  EXPECT_EQ(object.releases(), 2);
}

TEST(MapTest, FindsNoKeyUnderAnotherStoredHash) {
  map_t map = mapOf("a", 1);
  slotOf(map, occupiedSlots(map)[0]).hash += 8;  // the same slot of eight

  EXPECT_TRUE(map.find("a") == map.end());
}

TEST(MapTest, HashesTheKeyOnceForEachLookup) {
  map_t map = mapOf("a", 1);
  const data_t key("a");
  HostCalls calls;

  map.find(key);
  EXPECT_EQ(calls.count("kel_hash_string"), 1U);

  map.insert("b", 2);
  EXPECT_EQ(calls.count("kel_hash_string"), 2U);
}

TEST(MapTest, HashesTheKeyOnceForAnInsertionThatGrowsTheMap) {
  map_t map = mapOf("a", 1, "b", 2, "c", 3, "d", 4, "e", 5, "f", 6, "g", 7);
  HostCalls calls;

  map.insert("h", 8);

  EXPECT_EQ(calls.count("kel_reallocate_map"), 1U);
  EXPECT_EQ(calls.count("kel_hash_string"), 1U);
}

TEST(MapTest, FindingASharedKeyNeitherHashesNorAllocates) {
  const map_t map = mapOf("requestId", 1, "http", 2);
  const MapKey present("requestId");
  const MapKey absent("charset");
  HostCalls calls;
  const std::uint64_t before = allocations();

  const bool isFound = map.find(present) != map.end();
  const bool isAbsent = map.find(absent) == map.end();
  const data_t* const value = map.valueOf(present);
  const data_t* const none = map.valueOf(absent);

  EXPECT_EQ(allocations() - before, 0U);
  EXPECT_EQ(calls.total(), 0U);
  EXPECT_TRUE(isFound && isAbsent);
  EXPECT_EQ(value, &map.find(present).value());
  EXPECT_EQ(none, nullptr);
}

TEST(MapTest, GivesAValueToBeChangedWhereItStands) {
  map_t map = mapOf("a", 1, "b", 2);

  *map.valueOf(MapKey("b")) = data_t(3);

  EXPECT_EQ(map.find("b").value(), data_t(3));
  EXPECT_EQ(map_t().valueOf(MapKey("b")), nullptr);
}

// ---- Inserting

TEST(MapTest, ReportsThePositionOfANewEntry) {
  map_t map;

  const auto [position, isNew] = map.insert("a", 1);

  EXPECT_TRUE(isNew);
  EXPECT_STREQ(get<const char*>(position.key()), "a");
  EXPECT_EQ(get<std::int64_t>(position.value()), 1);
  EXPECT_TRUE(position == map.find("a"));
}

TEST(MapTest, KeepsTheOldValueOfAnExistingKey) {
  map_t map = mapOf("a", 1);

  const auto [position, isNew] = map.insert("a", 2);

  EXPECT_FALSE(isNew);
  EXPECT_EQ(get<std::int64_t>(position.value()), 1);
  EXPECT_EQ(map.size(), 1U);
}

TEST(MapTest, MovesKeyAndValueIntoTheSlotWithoutCopying) {
  data_t key("a");
  data_t value("v");
  const char* const keyText = key.raw().payload.string;
  const char* const valueText = value.raw().payload.string;
  map_t map;
  HostCalls calls;

  const auto position = map.insert(std::move(key), std::move(value)).first;

  EXPECT_EQ(position.key().raw().payload.string, keyText);
  EXPECT_EQ(position.value().raw().payload.string, valueText);
  EXPECT_EQ(calls.count("kel_copy_data") + calls.count("kel_copy_string"), 0U);
}

TEST(MapTest, CopiesASharedKeyWithoutHashingIt) {
  const MapKey key("a");
  map_t map;
  HostCalls calls;

  const auto [position, isNew] = map.insert(key, 1);

  EXPECT_TRUE(isNew);
  EXPECT_EQ(calls.count("kel_hash_string"), 0U);
  EXPECT_NE(position.key().raw().payload.string, key.text());
  EXPECT_EQ(integerAt(map, "a"), 1);
}

TEST(MapTest, LetsAValueBeReplacedInPlace) {
  map_t map = mapOf("a", "old");

  map.find("a").value() = data_t("new");

  EXPECT_STREQ(get<const char*>(map.find("a").value()), "new");
}

// ---- Removing

TEST(MapTest, MarksTheSlotOfARemovedEntryAsDeleted) {
  map_t map = mapOf("a", "v", "b", 2);
  const std::uint64_t slot = [&] {
    for (const std::uint64_t i : occupiedSlots(map)) {
      if (slotOf(map, i).hash == kel_hash_string("a")) return i;
    }
    return ~std::uint64_t{0};
  }();
  const map_block* const block = map.raw();
  HostCalls calls;

  map.erase(map.find("a"));

  EXPECT_EQ(slotOf(map, slot).hash, 1U);
  EXPECT_EQ(slotOf(map, slot).key.tag, KEL_TAG_EMPTY);
  EXPECT_EQ(slotOf(map, slot).value.tag, KEL_TAG_EMPTY);
  EXPECT_EQ(map.raw()->count, 1U);
  EXPECT_EQ(map.raw()->deleted, 1U);
  EXPECT_EQ(map.raw(), block);
  EXPECT_EQ(map.raw()->capacity, 8U);
  // The key of the look-up, the removed key and its value.
  EXPECT_EQ(calls.count("kel_free_string"), 3U);
}

TEST(MapTest, DoesNotFindARemovedEntry) {
  map_t map = mapOf("a", 1, "b", 2);

  map.erase(map.find("a"));

  EXPECT_TRUE(map.find("a") == map.end());
  EXPECT_EQ(integerAt(map, "b"), 2);
}

TEST(MapTest, RemovingAtTheEndDoesNothing) {
  map_t map = mapOf("a", 1);
  map_t none;

  map.erase(map.end());
  none.erase(none.end());

  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.raw()->deleted, 0U);
  EXPECT_EQ(none.raw(), nullptr);
}

TEST(MapTest, RemovesTheLastEntryWithoutGivingTheBlockBack) {
  map_t map = mapOf("a", 1);

  map.erase(map.find("a"));

  EXPECT_TRUE(map.empty());
  EXPECT_TRUE(map.begin() == map.end());
  EXPECT_NE(map.raw(), nullptr);
}

// ---- Whole maps

TEST(MapTest, MovesWithoutTheHost) {
  map_t source = mapOf("a", 1);
  map_block* const block = source.raw();
  HostCalls calls;

  map_t constructed(std::move(source));
  map_t assigned;
  assigned = std::move(constructed);

  EXPECT_EQ(assigned.raw(), block);
  EXPECT_EQ(source.raw(), nullptr);
  EXPECT_EQ(constructed.raw(), nullptr);
  EXPECT_EQ(calls.total(), 0U);
}

TEST(MapTest, ReleasesItsOldBlockWhenAssigned) {
  map_t map = mapOf("a", 1);
  HostCalls calls;

  map = map_t();

  EXPECT_EQ(calls.count("kel_free_map"), 1U);
  EXPECT_EQ(map.raw(), nullptr);
}

TEST(MapTest, SurvivesAssignmentToItself) {
  map_t map = mapOf("a", 1);
  map_t& same = map;

  map = std::move(same);

  EXPECT_EQ(integerAt(map, "a"), 1);
}

TEST(MapTest, GivesEveryEntryToTheHostAtItsEnd) {
  CustomObject object;

  { const map_t map = mapOf("a", object.value(), "b", listOf("c", mapOf("d", "e"))); }

  EXPECT_EQ(object.releases(), 1);
}

TEST(MapTest, CopiesThroughTheHost) {
  const map_t map = mapOf("a", listOf(1, 2), "b", "c");
  HostCalls calls;

  map_t copy = map.copy();

  EXPECT_EQ(calls.count("kel_copy_data"), 1U);
  EXPECT_NE(copy.raw(), map.raw());
  EXPECT_TRUE(data_t(std::move(copy)) == data_t(map.copy()));
}

TEST(MapTest, ACopyOfNothingIsNothing) { EXPECT_EQ(map_t().copy().raw(), nullptr); }

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
