// One block, two sides: maps that the plugin's side fills are read by the host's functions, and
// maps that the host lays out are read, changed and released by the plugin's.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kelhost/value_text.h"
#include "model/get.h"
#include "model/host_made.h"
#include "model/map.h"
#include "model/text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

std::string hostsView(const map_t& map) {
  return kelhost::valueText(record(KEL_TAG_MAP, reinterpret_cast<std::uint64_t>(map.raw())));
}

// Puts an entry where the host would: at the first free slot from its hash's own on.
void placeAsHost(map_block* block, kel_data key, std::uint64_t hash, kel_data value) {
  std::uint64_t index = hash % block->capacity;
  while (kelhost::isOccupied(kelhost::slotsOf(block)[index])) {
    index = (index + 1) % block->capacity;
  }
  kelhost::slotsOf(block)[index] = {hash, key, value};
  ++block->count;
}

TEST(MapSharingTest, TheHostPrintsWhatThePluginInserted) {
  map_t map = mapOf(0, "a", 2, listOf(1, true), 11, mapOf("k", 1.5));

  EXPECT_EQ(hostsView(map), R"({0: "a", 2: [1, true], 11: {"k": 1.5}})");
  EXPECT_EQ(hostText(map), R"({0: "a", 2: [1, true], 11: {"k": 1.5}})");
}

TEST(MapSharingTest, TheHostSkipsWhatThePluginRemoved) {
  map_t map = mapOf(0, "a", 2, "b", 11, "c");

  map.erase(map.find(data_t(2)));

  EXPECT_EQ(hostsView(map), R"({0: "a", 11: "c"})");
}

TEST(MapSharingTest, TheHostCopiesWhatThePluginInserted) {
  map_t map = mapOf("a", 1, "b", listOf("x"), data_t(), true, 2.5, bufferOf("abc"));
  map.erase(map.find("a"));

  map_t copy = map.copy();

  EXPECT_EQ(copy.size(), 3U);
  EXPECT_TRUE(copy.find("a") == copy.end());
  EXPECT_FALSE(copy.find("b") == copy.end());
  EXPECT_FALSE(copy.find(data_t()) == copy.end());
  EXPECT_FALSE(copy.find(data_t(2.5)) == copy.end());
}

TEST(MapSharingTest, ThePluginFindsEverythingAfterTheHostReallocated) {
  map_t map;
  for (int key = 0; key < 50; ++key) map.insert(("key" + std::to_string(key)).c_str(), key);
  for (int key = 0; key < 50; key += 3) map.erase(map.find(("key" + std::to_string(key)).c_str()));

  map = map_t::adopt(kel_reallocate_map(map.release(), 101));

  EXPECT_EQ(map.raw()->capacity, 101U);
  EXPECT_EQ(map.raw()->deleted, 0U);
  for (int key = 0; key < 50; ++key) {
    const bool isFound = map.find(("key" + std::to_string(key)).c_str()) != map.end();
    EXPECT_EQ(isFound, key % 3 != 0) << key;
  }
}

TEST(MapSharingTest, ThePluginFindsWhatTheHostPlaced) {
  map_t map = map_t::adopt(kel_allocate_map(8));
  for (const std::int64_t key : {0, 15, 16, 5}) {
    const data_t hashed(key);
    placeAsHost(map.raw(), hashed.raw(), hashed.hash(), data_t(key * 2).release());
  }
  placeAsHost(map.raw(), data_t("text").release(), kel_hash_string("text"),
              data_t("value").release());

  for (const std::int64_t key : {0, 15, 16, 5}) {
    EXPECT_EQ(get<std::int64_t>(map.find(data_t(key)).value()), key * 2) << key;
  }
  EXPECT_STREQ(get<const char*>(map.find(MapKey("text")).value()), "value");
  EXPECT_TRUE(map.find("other") == map.end());
}

TEST(MapSharingTest, ThePluginAddsToAMapThatTheHostLaidOut) {
  map_t map = map_t::adopt(kel_allocate_map(3));
  placeAsHost(map.raw(), data_t("a").release(), kel_hash_string("a"), data_t(1).release());

  for (int key = 0; key < 20; ++key) map.insert(key, key);

  EXPECT_EQ(map.size(), 21U);
  EXPECT_EQ(get<std::int64_t>(map.find("a").value()), 1);
}

TEST(MapSharingTest, ALabelSurvivesGrowth) {
  map_t map = mapOf("a", 1);
  map.raw()->label = "event";

  for (int key = 0; key < 20; ++key) map.insert(key, key);

  EXPECT_STREQ(map.raw()->label, "event");
}

TEST(MapSharingTest, EachSideReadsTheOthersBooleans) {
  const map_t map = mapOf(true, false, false, true);

  EXPECT_EQ(get<bool>(map.find(data_t(true)).value()), false);
  EXPECT_EQ(get<bool>(map.find(data_t(false)).value()), true);
  EXPECT_NE(hostsView(map).find("true: false"), std::string::npos);
  EXPECT_NE(hostsView(map).find("false: true"), std::string::npos);
}

// A long mixed run against a model that cannot go wrong.
TEST(MapSharingTest, KeepsUpWithAPlainListOverManyInsertionsAndRemovals) {
  map_t map;
  std::vector<bool> expected(64, false);
  std::uint64_t random = 12345;

  for (int step = 0; step < 20'000; ++step) {
    random = random * 6364136223846793005 + 1442695040888963407;
    const auto key = static_cast<std::int64_t>((random >> 33) % expected.size());
    const bool adds = ((random >> 20) & 1) != 0;
    const auto index = static_cast<std::size_t>(key);
    if (adds) {
      ASSERT_EQ(map.insert(key, key).second, !expected[index]) << step;
    } else {
      map.erase(map.find(data_t(key)));
    }
    expected[index] = adds;
    const auto position = map.find(data_t(key));
    ASSERT_EQ(position != map.end(), adds) << step;
  }

  std::uint64_t entries = 0;
  for (std::size_t key = 0; key < expected.size(); ++key) {
    const bool isFound = map.find(data_t(key)) != map.end();
    EXPECT_EQ(isFound, expected[key]) << key;
    if (expected[key]) ++entries;
  }
  EXPECT_EQ(map.size(), entries);
  EXPECT_EQ(occupiedSlots(map).size(), entries);
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
