#include "model/message.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

Message messageOf(data_t payload, map_t metadata = map_t()) {
  return {std::move(payload), std::move(metadata)};
}

std::string withPayload(const std::string& text) {
  return "Message<metadata={}, payload=" + text + ">";
}

TEST(MessageTest, HasTheHostsLayout) {
  EXPECT_EQ(sizeof(Message), 24U);
  EXPECT_TRUE(std::is_standard_layout_v<Message>);
  EXPECT_EQ(offsetof(Message, payload), 0U);
  EXPECT_EQ(offsetof(Message, metadata), 16U);
}

TEST(MessageTest, IsReadByTheHostAsItsOwnRecord) {
  const Message message = messageOf("body", mapOf("k", 1));

  const auto& record = reinterpret_cast<const kel_message&>(message);

  EXPECT_EQ(record.payload.tag, 5);
  EXPECT_STREQ(record.payload.payload.string, "body");
  EXPECT_EQ(record.metadata->count, 1U);
}

TEST(MessageTest, ReleasesPayloadAndMetadata) {
  HostCalls calls;

  {
    Message first = messageOf(bufferOf("body"), mapOf(1, 2));
    const Message second = std::move(first);
    EXPECT_TRUE(first.payload.isEmpty());
    EXPECT_EQ(first.metadata.raw(), nullptr);
    EXPECT_EQ(second.metadata.size(), 1U);
  }

  EXPECT_EQ(calls.count("kel_free_buffer"), 1U);
  EXPECT_EQ(calls.count("kel_free_map"), 1U);
}

TEST(MessageTextTest, HasMetadataThenPayload) {
  const Message message = messageOf("body", mapOf("requestId", "r1"));

  EXPECT_EQ(toText(message, false), R"(Message<metadata={"requestId": "r1"}, payload=body>)");
  EXPECT_EQ(toText(message, true), R"(Message<metadata={"requestId": "r1"}, payload=body>)");
}

TEST(MessageTextTest, HasTheHostsTextsForNothing) {
  EXPECT_EQ(toText(Message{}, true), "Message<metadata={}, payload=null>");
  EXPECT_EQ(toText(messageOf(data_t(), map_t::adopt(kel_allocate_map(8))), true),
            "Message<metadata={}, payload=null>");
}

TEST(MessageTextTest, KeepsAPayloadOfTwoHundredBytes) {
  const std::string payload(200, 'x');

  EXPECT_EQ(toText(messageOf(payload), true), withPayload(payload));
}

TEST(MessageTextTest, CutsAPayloadOfTwoHundredAndOneBytes) {
  const std::string payload(201, 'x');
  std::string expected(200, 'x');
  expected.replace(196, 4, " ...");

  EXPECT_EQ(toText(messageOf(payload), true), withPayload(expected));
}

TEST(MessageTextTest, CutsNothingUnlessAsked) {
  const std::string payload(1000, 'x');

  EXPECT_EQ(toText(messageOf(payload), false), withPayload(payload));
}

TEST(MessageTextTest, CountsBytesNotCharacters) {
  std::string payload(207, 'x');
  payload.replace(195, 2, "\xC3\xA9");  // the cut goes through this letter
  std::string expected(200, 'x');
  expected.replace(195, 5, "\xC3 ...");

  EXPECT_EQ(toText(messageOf(payload), true), withPayload(expected));
}

TEST(MessageTextTest, EscapesLineFeedsAndCarriageReturnsOfThePayload) {
  EXPECT_EQ(toText(messageOf("a\r\nb\tc\\"), false), withPayload("a\\r\\nb\tc\\"));
}

TEST(MessageTextTest, EscapesAfterTheCut) {
  std::string payload(300, 'x');
  payload[0] = '\n';
  payload[100] = '\n';
  payload[195] = '\r';
  payload[196] = '\n';  // cut away

  std::string expected(203, 'x');
  expected.replace(0, 2, "\\n");
  expected.replace(101, 2, "\\n");
  expected.replace(197, 6, "\\r ...");

  EXPECT_EQ(toText(messageOf(payload), true), withPayload(expected));
}

TEST(MessageTextTest, NeitherCutsNorEscapesMetadata) {
  std::string shown(302, 'm');
  shown.replace(300, 2, "\n\r");
  HostCalls calls;
  calls.dataToStringWith([&shown](kel_data value) {
    return data_t(value.tag == KEL_TAG_MAP ? shown.c_str() : "body").release();
  });

  EXPECT_EQ(toText(messageOf(data_t(1), mapOf("k", 1)), true),
            "Message<metadata=" + shown + ", payload=body>");
}

TEST(MessageTextTest, ShowsTheHostTheMetadataItself) {
  const Message message = messageOf(data_t(1), mapOf("k", 1));
  HostCalls calls;

  toText(message, true);

  EXPECT_EQ(calls.count("kel_data_to_string"), 2U);
  EXPECT_EQ(calls.count("kel_copy_data"), 0U);
  EXPECT_EQ(calls.count("kel_free_map"), 0U);
}

TEST(MessageTextTest, RefusesAHostWithoutATextForThePayload) {
  HostCalls calls;
  calls.dataToStringWith([](kel_data) { return data_t(true).release(); });
  testing::internal::CaptureStderr();

  EXPECT_EQ(thrownText([] { toText(Message{}, true); }),
            "Incorrect type in get (you asked for string but it's actually boolean)");

  testing::internal::GetCapturedStderr();
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
