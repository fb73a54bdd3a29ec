// The host's value functions, through the C layouts and through the plugin's own classes.
#include "kel/host_values.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <set>
#include <string>

#include "kelhost/blocks.h"
#include "model/get.h"
#include "model/map.h"

namespace kelhost {
namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::list_t;
using com::corvane::connectivity10_15_0::map_t;

std::string textOf(const data_t& value) {
  const data_t text = data_t::adopt(kel_data_to_string(value.raw()));
  return get<const char*>(text);
}

// A list as the host lays it out.
data_t listOf(std::vector<data_t> elements) {
  auto* const block =
      static_cast<list_block*>(std::calloc(1, sizeof(list_block) + 16 * elements.size()));
  block->count = elements.size();
  for (std::size_t i = 0; i < elements.size(); ++i) {
    elementsOf(block)[i] = elements[i].release();
  }
  return data_t(list_t::adopt(block));
}

template <typename... Values>
data_t list(Values&&... values) {
  std::vector<data_t> elements;
  (elements.push_back(data_t(std::forward<Values>(values))), ...);
  return listOf(std::move(elements));
}

TEST(HostValuesTest, CopiesDeeply) {
  map_t map;
  map.insert(data_t("list"), list(1, "two", list(3.5)));
  const data_t original(std::move(map));

  const data_t copy = original.copy();

  EXPECT_TRUE(copy == original);
  EXPECT_NE(copy.raw().payload.map, original.raw().payload.map);
}

TEST(HostValuesTest, CopiesABorrowedStringAsAnOwnedOne) {
  std::string text = "text";
  kel_data borrowed{};
  borrowed.tag = KEL_TAG_BORROWED_STRING;
  borrowed.payload.string = text.data();

  const data_t copy = data_t::adopt(kel_copy_data(borrowed));

  EXPECT_EQ(copy.tag(), KEL_TAG_STRING);
  EXPECT_STREQ(get<const char*>(copy), "text");
  EXPECT_NE(get<const char*>(copy), text.data());
}

TEST(HostValuesTest, CopiesNullBlocksAndScalars) {
  for (const std::int32_t tag : {KEL_TAG_LIST, KEL_TAG_MAP, KEL_TAG_BUFFER}) {
    kel_data value{};
    value.tag = tag;
    EXPECT_EQ(kel_copy_data(value).payload.bits, 0u) << tag;
  }
  EXPECT_EQ(get<std::int64_t>(data_t(-7).copy()), -7);
}

TEST(HostValuesTest, CopiesACustomObjectWithItsOwnFunctionOrNotAtAll) {
  static int copies = 0;
  static int releases = 0;
  static custom_block copied{[](custom_block*) { ++releases; }, nullptr};
  custom_block original{[](custom_block*) { ++releases; },
                        [](const custom_block*) {
                          ++copies;
                          return &copied;
                        }};
  kel_data value{};
  value.tag = KEL_TAG_CUSTOM;
  value.payload.custom = &original;

  { const data_t copy = data_t::adopt(kel_copy_data(value)); }
  value.payload.custom = &copied;
  const kel_data none = kel_copy_data(value);

  EXPECT_EQ(copies, 1);
  EXPECT_EQ(releases, 1);
  EXPECT_EQ(none.tag, KEL_TAG_EMPTY);
}

TEST(HostValuesTest, FreesNullOfEveryKind) {
  kel_free_string(nullptr);
  kel_free_map(nullptr);
  kel_free_vector(nullptr);
  kel_free_buffer(nullptr);
  kel_free_custom(nullptr);
}

TEST(HostValuesTest, AllocatesZeroedBuffers) {
  const buffer_t buffer(1000);
  const buffer_t empty(0);

  EXPECT_EQ(buffer.view(), std::string(1000, '\0'));
  EXPECT_NE(empty.raw(), nullptr);
  EXPECT_EQ(empty.size(), 0u);
}

// Small blocks and large ones come from different places; 1,008 bytes are the last small buffer.
TEST(HostValuesTest, ZeroesMemoryThatHasBeenInUse) {
  for (const std::size_t length : {1U, 336U, 1000U, 1008U, 1009U, 5000U}) {
    buffer_block* const used = kel_allocate_buffer(length);
    std::memset(used + 1, 0xFF, length);
    kel_free_buffer(used);

    buffer_block* const again = kel_allocate_buffer(length);

    EXPECT_EQ(std::string(reinterpret_cast<const char*>(again + 1), length),
              std::string(length, '\0'));
    kel_free_buffer(again);
  }
}

TEST(HostValuesTest, ZeroesAMapWhoseMemoryHasBeenInUse) {
  constexpr std::uint64_t kSlots = 8;
  constexpr std::size_t kBytes = sizeof(map_block) + kSlots * sizeof(kel_map_slot);
  buffer_block* const used = kel_allocate_buffer(kBytes - sizeof(buffer_block));
  std::memset(used, 0xFF, kBytes);
  kel_free_buffer(used);

  map_block* const map = kel_allocate_map(kSlots);

  std::string expected(kBytes, '\0');
  std::memcpy(&expected[offsetof(map_block, capacity)], &kSlots, sizeof kSlots);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(map), kBytes), expected);
  kel_free_map(map);
}

TEST(HostValuesTest, HashesTextsWellAwayFromTheMarksOfSlots) {
  std::set<std::uint64_t> hashes;
  std::set<std::uint64_t> lowBits;
  for (int i = 0; i < 10000; ++i) {
    const std::uint64_t hash = kel_hash_string(std::to_string(i).c_str());
    EXPECT_GT(hash, 1u);
    hashes.insert(hash);
    lowBits.insert(hash % 1024);
  }

  EXPECT_EQ(hashes.size(), 10000u);
  EXPECT_GT(lowBits.size(), 1000u);
  EXPECT_EQ(kel_hash_string("same"), kel_hash_string("same"));
  EXPECT_GT(kel_hash_string(""), 1u);
}

TEST(HostValuesTest, GrowsAMapWithItsEntriesAndWithoutItsDeletedSlots) {
  map_t map;
  for (int i = 0; i < 6; ++i) map.insert(data_t(i), data_t(10 * i));
  map.erase(map.find(data_t(3)));
  map_block* const block = map.release();
  block->label = "label";

  map_t grown = map_t::adopt(kel_reallocate_map(block, 50));

  EXPECT_EQ(grown.raw()->capacity, 50u);
  EXPECT_EQ(grown.raw()->deleted, 0u);
  EXPECT_STREQ(grown.raw()->label, "label");
  EXPECT_EQ(grown.size(), 5u);
  for (const int i : {0, 1, 2, 4, 5}) {
    EXPECT_EQ(get<std::int64_t>(grown.find(data_t(i)).value()), 10 * i);
  }
}

TEST(HostValuesTest, NeverGrowsAMapBelowItsEntries) {
  map_t map;
  for (int i = 0; i < 6; ++i) map.insert(data_t(i), data_t(i));

  map_t shrunk = map_t::adopt(kel_reallocate_map(map.release(), 2));

  EXPECT_EQ(shrunk.raw()->capacity, 6u);
  for (int i = 0; i < 6; ++i) EXPECT_NE(shrunk.find(data_t(i)), shrunk.end());
}

TEST(HostValuesTest, WritesEveryKindAsText) {
  map_t map;
  map.insert(data_t("key"), data_t("a \"b\"\r\n\t\x01"));

  EXPECT_EQ(textOf(data_t()), "null");
  EXPECT_EQ(textOf(data_t(true)), "true");
  EXPECT_EQ(textOf(data_t(-5)), "-5");
  EXPECT_EQ(textOf(data_t(0.5)), "0.5");
  EXPECT_EQ(textOf(data_t("plain \"text\"")), "plain \"text\"");
  EXPECT_EQ(textOf(list(1, "x", list())), "[1, \"x\", []]");
  EXPECT_EQ(textOf(data_t(std::move(map))), "{\"key\": \"a \\\"b\\\"\\r\\n\\t\\u0001\"}");
  EXPECT_EQ(textOf(data_t(map_t())), "{}");
  EXPECT_EQ(textOf(data_t(buffer_t(3))), "<3 bytes>");
}

TEST(HostValuesTest, StandsDeepNesting) {
  data_t deep(1);
  for (int i = 0; i < 10000; ++i) {
    std::vector<data_t> one;
    one.push_back(std::move(deep));
    deep = listOf(std::move(one));
  }

  const data_t copy = deep.copy();

  EXPECT_EQ(textOf(copy).size(), 20001u);
}

}  // namespace
}  // namespace kelhost
