#include "chainhost/host_values.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace chainhost {
namespace {

Map mapOf(int entries) {
  Map map;
  for (int index = 0; index < entries; ++index) {
    map.insert(std::to_string(index).c_str(), Value::integer(index));
  }
  return map;
}

TEST(ValueTest, IsBornEmpty) {
  const Value value;

  EXPECT_EQ(value.tag(), KEL_TAG_EMPTY);
}

TEST(ValueTest, CarriesScalars) {
  EXPECT_EQ(Value::boolean(true).raw().payload.bits, 1U);
  EXPECT_EQ(Value::boolean(false).raw().payload.bits, 0U);
  EXPECT_EQ(Value::integer(-5).raw().payload.integer, -5);
  EXPECT_EQ(Value::number(1.5).raw().payload.number, 1.5);
  EXPECT_EQ(Value::decimal(77).raw().payload.bits, 77U);
  EXPECT_EQ(Value::decimal(77).tag(), KEL_TAG_DECIMAL);
}

TEST(ValueTest, OwnsACopyOfItsText) {
  std::string source = "text";
  const Value value = Value::text(source.c_str());
  source = "else";

  EXPECT_EQ(value.tag(), KEL_TAG_STRING);
  EXPECT_STREQ(value.raw().payload.string, "text");
}

TEST(ValueTest, KeepsEveryByteOfABuffer) {
  const Value value = Value::buffer(std::string_view("a\0b", 3));

  EXPECT_EQ(value.tag(), KEL_TAG_BUFFER);
  EXPECT_EQ(bytes(value.raw().payload.buffer), std::string_view("a\0b", 3));
}

TEST(ValueTest, MakesABlockForAnEmptyBuffer) {
  const Value value = Value::buffer("");

  ASSERT_NE(value.raw().payload.buffer, nullptr);
  EXPECT_EQ(value.raw().payload.buffer->length, 0U);
}

TEST(ValueTest, CopiesTheElementsOfAList) {
  std::vector<Value> source;
  source.push_back(Value::integer(1));
  source.push_back(Value::text("two"));

  const Value value = Value::list(source);

  const auto copied = elements(value.raw().payload.list);
  ASSERT_EQ(copied.size(), 2U);
  EXPECT_EQ(copied[0].payload.integer, 1);
  EXPECT_STREQ(copied[1].payload.string, "two");
  EXPECT_NE(copied[1].payload.string, source[1].raw().payload.string);
}

TEST(ValueTest, LeavesItsSourceEmptyWhenMoved) {
  Value source = Value::text("text");

  const Value target = std::move(source);

  EXPECT_EQ(source.tag(), KEL_TAG_EMPTY);  // NOLINT(bugprone-use-after-move)
  EXPECT_STREQ(target.raw().payload.string, "text");
}

TEST(MapTest, IsBornWithoutABlock) {
  const Map map;

  EXPECT_EQ(map.raw(), nullptr);
  EXPECT_EQ(map.size(), 0U);
  EXPECT_EQ(map.find("key"), nullptr);
}

TEST(MapTest, FindsWhatWasInserted) {
  const Map map = mapOf(100);

  for (int index = 0; index < 100; ++index) {
    const kel_data* const value = map.find(std::to_string(index).c_str());
    ASSERT_NE(value, nullptr) << index;
    EXPECT_EQ(value->payload.integer, index);
  }
  EXPECT_EQ(map.find("100"), nullptr);
}

TEST(MapTest, KeepsTheFirstValueOfAKey) {
  Map map;
  map.insert("key", Value::integer(1));

  const bool inserted = map.insert("key", Value::integer(2));

  EXPECT_FALSE(inserted);
  EXPECT_EQ(map.size(), 1U);
  EXPECT_EQ(map.find("key")->payload.integer, 1);
}

TEST(MapTest, GrowsWhenMoreThanThreeQuartersWouldBeInUse) {
  const Map seven = mapOf(7);
  const Map eight = mapOf(8);
  const Map fourteen = mapOf(14);

  EXPECT_EQ(seven.raw()->capacity, 8U);
  EXPECT_EQ(eight.raw()->capacity, 16U);
  EXPECT_EQ(fourteen.raw()->capacity, 28U);
}

TEST(MapTest, PlacesEachKeyWhereLinearProbingLeadsTo) {
  const Map map = mapOf(20);
  const auto all = slots(map.raw());

  for (std::size_t place = 0; place < all.size(); ++place) {
    if (!isOccupied(all[place])) {
      continue;
    }
    EXPECT_EQ(all[place].hash, kel_hash_string(all[place].key.payload.string));
    for (std::size_t probe = all[place].hash % all.size(); probe != place;
         probe = (probe + 1) % all.size()) {
      EXPECT_TRUE(isOccupied(all[probe]));
    }
  }
}

TEST(MapTest, ReusesTheFirstDeletedSlotOnItsWay) {
  Map map = mapOf(1);
  auto* const block = const_cast<map_block*>(map.raw());
  auto* const slot = reinterpret_cast<kel_map_slot*>(block + 1) + kel_hash_string("0") % 8;
  kel_free_string(slot->key.payload.string);
  *slot = kel_map_slot{1, {}, {}};
  block->count = 0;
  block->deleted = 1;

  map.insert("0", Value::integer(9));

  EXPECT_EQ(slot->hash, kel_hash_string("0"));
  EXPECT_EQ(slot->value.payload.integer, 9);
  EXPECT_EQ(block->deleted, 1U);
}

TEST(MapTest, DoesNotTakeABorrowedKeyForItsOwn) {
  static char text[] = "key";
  Map map = mapOf(0);
  map.insert("key", Value::integer(1));
  auto* const slot = reinterpret_cast<kel_map_slot*>(const_cast<map_block*>(map.raw()) + 1) +
                     kel_hash_string("key") % 8;
  kel_free_string(slot->key.payload.string);
  slot->key.payload.string = text;
  slot->key.tag = KEL_TAG_BORROWED_STRING;

  EXPECT_EQ(map.find("key"), nullptr);
  EXPECT_TRUE(map.insert("key", Value::integer(2)));
}

TEST(MapTest, ShowsEveryEntryInItsSlots) {
  const Map map = mapOf(30);
  std::set<std::string> keys;

  for (const kel_map_slot& slot : slots(map.raw())) {
    if (isOccupied(slot)) {
      keys.insert(slot.key.payload.string);
    }
  }

  EXPECT_EQ(keys.size(), 30U);
}

TEST(HostValuesTest, ReadsNullBlocksAsEmpty) {
  EXPECT_TRUE(slots(nullptr).empty());
  EXPECT_TRUE(elements(nullptr).empty());
  EXPECT_TRUE(bytes(nullptr).empty());
  EXPECT_EQ(find(nullptr, TextKey("key")), nullptr);
}

TEST(HostValuesTest, EmptiesAReleasedMessage) {
  kel_message message{Value::buffer("payload").release(), mapOf(3).release()};

  releaseMessage(message);

  EXPECT_EQ(message.payload.tag, KEL_TAG_EMPTY);
  EXPECT_EQ(message.metadata, nullptr);
}

}  // namespace
}  // namespace chainhost
