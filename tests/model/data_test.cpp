#include "model/data.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
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

TEST(DataTest, HasTheHostsLayout) {
  EXPECT_EQ(sizeof(data_t), 16U);
  EXPECT_EQ(alignof(data_t), alignof(kel_data));
  EXPECT_TRUE(std::is_standard_layout_v<data_t>);
  EXPECT_EQ(sizeof(map_t), 8U);
  EXPECT_EQ(sizeof(list_t), 8U);
  EXPECT_EQ(sizeof(buffer_t), 8U);
  EXPECT_EQ(sizeof(custom_t), 8U);
  EXPECT_TRUE(std::is_standard_layout_v<map_t> && std::is_standard_layout_v<list_t> &&
              std::is_standard_layout_v<buffer_t> && std::is_standard_layout_v<custom_t>);
}

TEST(DataTest, MovesOnly) {
  EXPECT_FALSE(std::is_copy_constructible_v<data_t> || std::is_copy_assignable_v<data_t>);
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<data_t>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<data_t>);
}

TEST(DataTest, NeverTakesAPointerForABoolean) {
  EXPECT_FALSE((std::is_constructible_v<data_t, void*>));
  EXPECT_FALSE((std::is_constructible_v<data_t, const int*>));
  EXPECT_EQ(data_t("false").tag(), KEL_TAG_STRING);
}

TEST(DataTest, IsEmptyByDefault) {
  const data_t value;

  EXPECT_EQ(value.tag(), 0);
  EXPECT_TRUE(value.isEmpty());
  EXPECT_EQ(value.raw().payload.bits, 0U);
}

TEST(DataTest, SettlesAllEightBytesOfABoolean) {
  EXPECT_EQ(data_t(true).tag(), 1);
  EXPECT_EQ(data_t(true).raw().payload.bits, 1U);
  EXPECT_EQ(data_t(false).tag(), 1);
  EXPECT_EQ(data_t(false).raw().payload.bits, 0U);
}

TEST(DataTest, TakesEveryIntegralTypeAsAnInteger) {
  EXPECT_EQ(data_t(-3).tag(), 3);
  EXPECT_EQ(data_t(-3).raw().payload.integer, -3);
  EXPECT_EQ(data_t(std::int64_t{INT64_MIN}).raw().payload.integer, INT64_MIN);
  EXPECT_EQ(data_t(std::size_t{7}).raw().payload.integer, 7);
  EXPECT_EQ(data_t(std::uint8_t{200}).raw().payload.integer, 200);
}

TEST(DataTest, TakesFloatingPointAsADouble) {
  EXPECT_EQ(data_t(0.5).tag(), 2);
  EXPECT_EQ(data_t(0.5).raw().payload.number, 0.5);
  EXPECT_EQ(data_t(0.5F).tag(), 2);
}

TEST(DataTest, TakesADecimalAsItsBits) {
  const data_t value(orvex::decimal64::fromBits(0x31C000000000007D));

  EXPECT_EQ(value.tag(), 4);
  EXPECT_EQ(value.raw().payload.bits, 0x31C000000000007DU);
}

TEST(DataTest, TakesAnOwnedCopyOfATextFromTheHost) {
  HostCalls calls;
  char text[] = "abc";

  const data_t value(text);
  text[0] = 'x';

  EXPECT_EQ(value.tag(), 5);
  EXPECT_STREQ(value.raw().payload.string, "abc");
  EXPECT_EQ(calls.count("kel_copy_string"), 1U);
}

TEST(DataTest, TakesAStandardStringUpToItsFirstNul) {
  const data_t value(std::string("ab\0c", 4));

  EXPECT_EQ(value.tag(), 5);
  EXPECT_STREQ(value.raw().payload.string, "ab");
}

TEST(DataTest, RefusesANullText) {
  const char* const text = nullptr;

  EXPECT_EQ(thrownText([&] { data_t value(text); }),
            "Cannot use a null char* as a data_t value (consider using an empty data_t() instead)");
}

TEST(DataTest, TakesContainersOverWithoutTouchingTheirBlocks) {
  map_t map = mapOf("k", 1);
  data_t listValue = listOf(1);
  list_t list = std::move(get<list_t>(listValue));
  buffer_t buffer(3);
  CustomObject object;
  custom_t custom = custom_t::adopt(object.block());
  const void* const blocks[] = {map.raw(), list.raw(), buffer.raw(), custom.raw()};
  HostCalls calls;

  const data_t values[] = {std::move(map), std::move(list), std::move(buffer), std::move(custom)};

  EXPECT_EQ(calls.total(), 0U);
  EXPECT_EQ(values[0].tag(), 7);
  EXPECT_EQ(values[0].raw().payload.map, blocks[0]);
  EXPECT_EQ(values[1].tag(), 6);
  EXPECT_EQ(values[1].raw().payload.list, blocks[1]);
  EXPECT_EQ(values[2].tag(), 8);
  EXPECT_EQ(values[2].raw().payload.buffer, blocks[2]);
  EXPECT_EQ(values[3].tag(), 9);
  EXPECT_EQ(values[3].raw().payload.custom, blocks[3]);
  EXPECT_EQ(map.raw(), nullptr);
  EXPECT_EQ(list.raw(), nullptr);
  EXPECT_EQ(buffer.raw(), nullptr);
  EXPECT_EQ(custom.raw(), nullptr);
}

TEST(DataTest, GivesAContainerBackOutOfItsPayload) {
  data_t value(mapOf("k", 1));
  const map_block* const block = value.raw().payload.map;

  const map_t map = std::move(get<map_t>(value));

  EXPECT_EQ(map.raw(), block);
  EXPECT_EQ(value.tag(), 7);
  EXPECT_EQ(value.raw().payload.map, nullptr);
}

TEST(DataTest, MoveConstructionLeavesTheSourceEmptyAndCallsNoHost) {
  data_t source("abc");
  const char* const text = source.raw().payload.string;
  HostCalls calls;

  const data_t target(std::move(source));

  EXPECT_EQ(target.raw().payload.string, text);
  EXPECT_TRUE(source.isEmpty());
  EXPECT_EQ(calls.total(), 0U);
}

TEST(DataTest, MoveAssignmentReleasesTheOldValueAndLeavesTheSourceEmpty) {
  data_t target("old");
  data_t source(7);
  HostCalls calls;

  target = std::move(source);

  EXPECT_EQ(target.raw().payload.integer, 7);
  EXPECT_TRUE(source.isEmpty());
  EXPECT_EQ(calls.count("kel_free_string"), 1U);
  EXPECT_EQ(calls.total(), 1U);
}

TEST(DataTest, SurvivesAssignmentToItself) {
  data_t value("abc");
  data_t& same = value;

  value = std::move(same);

  EXPECT_STREQ(get<const char*>(value), "abc");
}

struct Release {
  const char* name;
  std::int32_t tag;
  const char* function;  // null: nothing is released
};

class DataReleaseTest : public testing::TestWithParam<Release> {
 protected:
  // A value of that kind whose payload the host allocated, where there is anything to allocate.
  data_t make() {
    switch (GetParam().tag) {
      case KEL_TAG_STRING:
        return "abc";
      case KEL_TAG_LIST:
        return listOf("abc", 1);
      case KEL_TAG_MAP:
        return mapOf("k", "v");
      case KEL_TAG_BUFFER:
        return buffer_t(3);
      case KEL_TAG_CUSTOM:
        return custom_.value();
      case KEL_TAG_BORROWED_STRING:
        return borrowed("abc");
      default:
        return valueOf(GetParam().tag, 42);
    }
  }

  CustomObject custom_;
};

TEST_P(DataReleaseTest, CallsTheKindsFunctionOnce) {
  data_t value = make();
  HostCalls calls;

  value = data_t();

  EXPECT_EQ(calls.total(), GetParam().function == nullptr ? 0U : 1U);
  if (GetParam().function != nullptr) {
    EXPECT_EQ(calls.count(GetParam().function), 1U);
  }
  EXPECT_EQ(custom_.releases(), GetParam().tag == KEL_TAG_CUSTOM ? 1 : 0);
}

TEST_P(DataReleaseTest, HappensAtTheEndOfTheValuesLife) {
  HostCalls calls;
  std::uint64_t before = 0;

  {
    const data_t value = make();
    before = calls.total();
  }

  EXPECT_EQ(calls.total() - before, GetParam().function == nullptr ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, DataReleaseTest,
    testing::Values(Release{"Empty", 0, nullptr}, Release{"Boolean", 1, nullptr},
                    Release{"Double", 2, nullptr}, Release{"Integer", 3, nullptr},
                    Release{"Decimal", 4, nullptr}, Release{"String", 5, "kel_free_string"},
                    Release{"List", 6, "kel_free_vector"}, Release{"Map", 7, "kel_free_map"},
                    Release{"Buffer", 8, "kel_free_buffer"},
                    Release{"Custom", 9, "kel_free_custom"}, Release{"BorrowedString", 10, nullptr},
                    Release{"UnknownKind", 11, nullptr}, Release{"NegativeKind", -1, nullptr}),
    [](const auto& test) { return test.param.name; });

TEST(DataTest, ReleasesNullBlocksQuietly) {
  HostCalls calls;

  {
    const data_t values[] = {valueOf(KEL_TAG_LIST), valueOf(KEL_TAG_MAP), valueOf(KEL_TAG_BUFFER)};
  }

  EXPECT_EQ(calls.total(), 0U);
}

TEST(DataTest, GivesItsRecordAway) {
  data_t value("abc");

  const kel_data given = value.release();

  EXPECT_TRUE(value.isEmpty());
  EXPECT_EQ(given.tag, 5);
  EXPECT_STREQ(data_t::adopt(given).raw().payload.string, "abc");
}

TEST(DataTest, CopiesDeeplyThroughTheHost) {
  const data_t value(mapOf("list", listOf("a", 1), "buffer", bufferOf("xyz")));
  HostCalls calls;

  const data_t copy = value.copy();

  EXPECT_EQ(calls.count("kel_copy_data"), 1U);
  EXPECT_NE(copy.raw().payload.map, value.raw().payload.map);
  EXPECT_TRUE(copy == value);
}

TEST(DataTest, CopiesABorrowedStringAsAnOwnedOne) {
  char text[] = "abc";

  const data_t copy = borrowed(text).copy();
  text[0] = 'x';

  EXPECT_EQ(copy.tag(), KEL_TAG_STRING);
  EXPECT_STREQ(get<const char*>(copy), "abc");
}

TEST(DataTest, NamesEveryKind) {
  const char* const names[] = {"empty", "boolean", "double", "integer", "decimal", "string",
                               "list",  "map",     "buffer", "custom",  "string"};

  for (std::int32_t tag = 0; tag <= 10; ++tag) EXPECT_STREQ(typeName(tag), names[tag]) << tag;
  for (const std::int32_t tag : {-1, 11, 100, INT32_MIN, INT32_MAX}) {
    EXPECT_STREQ(typeName(tag), "Unknown") << tag;
  }
  EXPECT_STREQ(data_t(1.5).typeName(), "double");
}

TEST(DataTest, TellsStringsOfBothKinds) {
  EXPECT_TRUE(data_t("a").isString());
  EXPECT_TRUE(borrowed("a").isString());
  EXPECT_FALSE(data_t().isString());
  EXPECT_FALSE(data_t(1).isString());
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
