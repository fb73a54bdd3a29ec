#include "chainhost/response_line.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kelhost/blocks.h"

namespace chainhost {
namespace {

std::string lineOf(Value payload, Map metadata = {}) {
  kel_message message{payload.release(), metadata.release()};
  TextBuffer out;
  appendResponseLine(out, message);
  releaseMessage(message);
  return std::string(out.view());
}

// The line of a message whose metadata is {"v": value}.
std::string metadataLine(Value value) {
  Map metadata;
  metadata.insert("v", std::move(value));
  return lineOf(Value::buffer(""), std::move(metadata));
}

kel_data record(std::int32_t tag) {
  kel_data data{};
  data.tag = tag;
  return data;
}

TEST(ResponseLineTest, WritesAUtf8BufferPayloadAsAString) {
  EXPECT_EQ(lineOf(Value::buffer("a\"\n\xC3\xA9")),
            "{\"payload\": \"a\\\"\\n\xC3\xA9\", \"metadata\": {}}\n");
}

TEST(ResponseLineTest, WritesAnyOtherBufferPayloadAsBase64) {
  EXPECT_EQ(lineOf(Value::buffer("\xFF")),
            "{\"payload\": {\"$base64\": \"/w==\"}, \"metadata\": {}}\n");
}

TEST(ResponseLineTest, WritesNullBlocksAsEmpty) {
  EXPECT_EQ(lineOf(Value::adopt(record(KEL_TAG_BUFFER))),
            "{\"payload\": \"\", \"metadata\": {}}\n");
  EXPECT_EQ(lineOf(Value::adopt(record(KEL_TAG_MAP))), "{\"payload\": {}, \"metadata\": {}}\n");
  EXPECT_EQ(lineOf(Value::adopt(record(KEL_TAG_LIST))), "{\"payload\": [], \"metadata\": {}}\n");
}

TEST(ResponseLineTest, WritesEveryKindOfTheMetadata) {
  EXPECT_EQ(metadataLine(Value()), "{\"payload\": \"\", \"metadata\": {\"v\": null}}\n");
  EXPECT_EQ(metadataLine(Value::boolean(true)),
            "{\"payload\": \"\", \"metadata\": {\"v\": true}}\n");
  EXPECT_EQ(metadataLine(Value::boolean(false)),
            "{\"payload\": \"\", \"metadata\": {\"v\": false}}\n");
  EXPECT_EQ(metadataLine(Value::integer(-7)), "{\"payload\": \"\", \"metadata\": {\"v\": -7}}\n");
  EXPECT_EQ(metadataLine(Value::number(200)),
            "{\"payload\": \"\", \"metadata\": {\"v\": 200.0}}\n");
  EXPECT_EQ(metadataLine(Value::text("s\t")),
            "{\"payload\": \"\", \"metadata\": {\"v\": \"s\\t\"}}\n");
  EXPECT_EQ(metadataLine(Value::buffer("bytes")),
            "{\"payload\": \"\", \"metadata\": {\"v\": {\"$base64\": \"Ynl0ZXM=\"}}}\n");
  EXPECT_EQ(metadataLine(Value::decimal(0x31C0000000000005)),
            "{\"payload\": \"\", \"metadata\": {\"v\": {\"$decimal\": \"5\"}}}\n");
  EXPECT_EQ(metadataLine(Value::adopt(record(77))),
            "{\"payload\": \"\", \"metadata\": {\"v\": null}}\n");
}

TEST(ResponseLineTest, WritesACustomValueAsTheHostsText) {
  static int releases = 0;
  custom_block custom{[](custom_block*) { ++releases; }, nullptr};
  kel_data data = record(KEL_TAG_CUSTOM);
  data.payload.custom = &custom;

  EXPECT_EQ(metadataLine(Value::adopt(data)),
            "{\"payload\": \"\", \"metadata\": {\"v\": \"<custom>\"}}\n");
  EXPECT_EQ(releases, 1);
}

TEST(ResponseLineTest, WritesABorrowedStringAsAString) {
  char text[] = "borrowed";
  kel_data data = record(KEL_TAG_BORROWED_STRING);
  data.payload.string = text;

  EXPECT_EQ(metadataLine(Value::adopt(data)),
            "{\"payload\": \"\", \"metadata\": {\"v\": \"borrowed\"}}\n");
}

TEST(ResponseLineTest, WritesListsInOrder) {
  std::vector<Value> members;
  members.push_back(Value::integer(1));
  members.push_back(Value::list({}));
  members.push_back(Value::text("x"));

  EXPECT_EQ(metadataLine(Value::list(members)),
            "{\"payload\": \"\", \"metadata\": {\"v\": [1, [], \"x\"]}}\n");
}

TEST(ResponseLineTest, WritesAKeyThatIsNoTextAsItsHostText) {
  map_block* const block = kel_allocate_map(1);
  block->count = 1;
  auto* const slot = reinterpret_cast<kel_map_slot*>(block + 1);
  slot->hash = 5;
  slot->key = Value::integer(42).release();
  slot->value = Value::boolean(true).release();

  EXPECT_EQ(lineOf(Value::buffer(""), Map(block)),
            "{\"payload\": \"\", \"metadata\": {\"42\": true}}\n");
}

TEST(ResponseLineTest, SeparatesEntriesAndSkipsFreeSlots) {
  Map metadata;
  metadata.insert("a", Value::integer(1));
  metadata.insert("b", Value::integer(1));

  const std::string line = lineOf(Value::buffer(""), std::move(metadata));

  EXPECT_TRUE(line == "{\"payload\": \"\", \"metadata\": {\"a\": 1, \"b\": 1}}\n" ||
              line == "{\"payload\": \"\", \"metadata\": {\"b\": 1, \"a\": 1}}\n")
      << line;
}

TEST(ResponseLineTest, AppendsToWhatIsThere) {
  TextBuffer out;
  out += "before\n";
  const kel_message message{};

  appendResponseLine(out, message);

  EXPECT_EQ(out.view(), "before\n{\"payload\": null, \"metadata\": {}}\n");
}

TEST(ResponseLineTest, WritesErrorLines) {
  TextBuffer out;

  appendErrorLine(out, "bad \"x\"", 12);

  EXPECT_EQ(out.view(), "{\"error\": \"bad \\\"x\\\"\", \"line\": 12}\n");
}

}  // namespace
}  // namespace chainhost
