#include "model/text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

#include "model/comma_locale.h"
#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/scoped_environment.h"
#include "model/thrown_text.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

// ---- The plugin's own form

TEST(ValueTextTest, WritesScalars) {
  EXPECT_EQ(valueText(data_t()), "(null)");
  EXPECT_EQ(valueText(data_t(true)), "true");
  EXPECT_EQ(valueText(data_t(false)), "false");
  EXPECT_EQ(valueText(data_t(0)), "0");
  EXPECT_EQ(valueText(data_t(-42)), "-42");
  EXPECT_EQ(valueText(data_t(INT64_MIN)), "-9223372036854775808");
  EXPECT_EQ(valueText(data_t(*orvex::decimal64::fromText("1.25"))), "1.25");
}

TEST(ValueTextTest, WritesDoublesAsTheRuntimeDoes) {
  char expected[orvex::Platform::kFloat64TextBytes];

  for (const double value : {0.1, 1.0, -0.0, 1e300, 1.0 / 3}) {
    EXPECT_EQ(valueText(data_t(value)), orvex::Platform::float64ToChar8(value, expected));
  }
  EXPECT_EQ(valueText(data_t(0.1)), "0.1");
}

TEST(ValueTextTest, WritesAFullStopAndNoGroupsInEveryLocale) {
  const CommaLocale locale;

  EXPECT_EQ(valueText(listOf(1234.5, 1234567)), "[1234.5,1234567]");
  EXPECT_EQ(valueText(data_t(*orvex::decimal64::fromText("1234.5"))), "1234.5");
}

TEST(ValueTextTest, NeitherQuotesNorEscapesStrings) {
  EXPECT_EQ(valueText(data_t("a \"b\"\n\\")), "a \"b\"\n\\");
  EXPECT_EQ(valueText(borrowed("abc")), "abc");
}

TEST(ValueTextTest, WritesContainersWithoutBlanks) {
  EXPECT_EQ(valueText(listOf(1, "a")), "[1,a]");
  EXPECT_EQ(valueText(bufferOf(std::string("\x01\xFF\x00", 3))), "[0x01,0xff,0x00]");
  EXPECT_EQ(valueText(mapOf(0, "v", 2, "w")), "{0:v,2:w}");
}

TEST(ValueTextTest, WritesMapsInSlotOrder) {
  // Their slots of eight are 7, 2, 5 and 0.
  EXPECT_EQ(valueText(mapOf(5, "d", 2, "b", 11, "c", 0, "a")), "{0:a,2:b,11:c,5:d}");
}

TEST(ValueTextTest, WritesNestedContainersByTheSameRules) {
  const data_t value = listOf(listOf(), mapOf("k", listOf(true, data_t())), bufferOf("a"));

  EXPECT_EQ(valueText(value), "[[],{k:[true,(null)]},[0x61]]");
}

TEST(ValueTextTest, WritesContainersWithoutContent) {
  EXPECT_EQ(valueText(listOf()), "[]");
  EXPECT_EQ(valueText(valueOf(KEL_TAG_LIST)), "[]");
  EXPECT_EQ(valueText(valueOf(KEL_TAG_MAP)), "{}");
  EXPECT_EQ(valueText(map_t()), "{}");
  EXPECT_EQ(valueText(map_t::adopt(kel_allocate_map(8))), "{}");
  EXPECT_EQ(valueText(bufferOf("")), "[]");
  EXPECT_EQ(valueText(valueOf(KEL_TAG_BUFFER)), "[]");
}

TEST(ValueTextTest, WritesCustomAndUnknownKinds) {
  CustomObject object;

  EXPECT_EQ(valueText(object.value()), "(custom)");
  EXPECT_EQ(valueText(valueOf(11)), "(null)");
  EXPECT_EQ(valueText(valueOf(-1)), "(null)");
}

// ---- The host's form

TEST(HostTextTest, IsWhatTheHostSays) {
  EXPECT_EQ(hostText(data_t("a b")), "a b");
  EXPECT_EQ(hostText(data_t()), "null");
  EXPECT_EQ(hostText(listOf(1, "a")), R"([1, "a"])");
  EXPECT_EQ(hostText(borrowed("abc")), "abc");
}

TEST(HostTextTest, BorrowsTheValueAndReleasesTheResult) {
  const data_t value("abc");
  HostCalls calls;

  EXPECT_EQ(hostText(value), "abc");

  EXPECT_EQ(calls.count("kel_data_to_string"), 1U);
  EXPECT_EQ(calls.count("kel_free_string"), 1U);
  EXPECT_EQ(calls.count("kel_copy_data"), 0U);
  EXPECT_STREQ(get<const char*>(value), "abc");
}

TEST(HostTextTest, ShowsAMapWithoutCopyingIt) {
  const map_t map = mapOf("k", 1);
  HostCalls calls;
  kel_data shown{};
  calls.dataToStringWith([&shown](kel_data value) {
    shown = value;
    return data_t("text").release();
  });

  EXPECT_EQ(hostText(map), "text");

  EXPECT_EQ(shown.tag, 7);
  EXPECT_EQ(shown.payload.map, map.raw());
  EXPECT_EQ(calls.count("kel_copy_data"), 0U);
  EXPECT_EQ(calls.count("kel_free_map"), 0U);
}

TEST(HostTextTest, TakesABorrowedTextToo) {
  HostCalls calls;
  calls.dataToStringWith([](kel_data) { return borrowed("theirs").release(); });

  EXPECT_EQ(hostText(data_t(1)), "theirs");

  EXPECT_EQ(calls.count("kel_free_string"), 0U);
}

TEST(HostTextTest, RefusesAnythingButATextAsTypedAccessDoes) {
  HostCalls calls;
  calls.dataToStringWith([](kel_data) { return data_t(mapOf("k", 1)).release(); });
  testing::internal::CaptureStderr();

  EXPECT_EQ(thrownText([] { hostText(data_t(1)); }),
            "Incorrect type in get (you asked for string but it's actually map)");

  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "GetVisitor<char const*>.operator()(char const*)\n");
  EXPECT_EQ(calls.count("kel_free_map"), 1U);
}

TEST(HostTextTest, RefusesAnEmptyResult) {
  HostCalls calls;
  calls.dataToStringWith([](kel_data) { return kel_data{}; });

  EXPECT_EQ(thrownText([] { hostText(data_t(1)); }), "Get from empty");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
