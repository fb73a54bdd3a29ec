#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "model/comma_locale.h"
#include "model/get.h"
#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(ParseTextTest, WritesBooleansAsWords) {
  EXPECT_EQ(parseText(data_t(true)), "true");
  EXPECT_EQ(parseText(data_t(false)), "false");
  EXPECT_EQ(parseText(valueOf(KEL_TAG_BOOLEAN, 7)), "true");
}

TEST(ParseTextTest, WritesIntegersInDecimalDigits) {
  EXPECT_EQ(parseText(data_t(-3)), "-3");
  EXPECT_EQ(parseText(data_t(0)), "0");
  EXPECT_EQ(parseText(data_t(INT64_MIN)), "-9223372036854775808");
  EXPECT_EQ(parseText(data_t(INT64_MAX)), "9223372036854775807");
}

TEST(ParseTextTest, WritesDoublesWithSixSignificantDigits) {
  EXPECT_EQ(parseText(data_t(0.5)), "0.5");
  EXPECT_EQ(parseText(data_t(1e21)), "1e+21");
  EXPECT_EQ(parseText(data_t(1.0)), "1");
  EXPECT_EQ(parseText(data_t(-0.0)), "-0");
  EXPECT_EQ(parseText(data_t(1234567.0)), "1.23457e+06");
  EXPECT_EQ(parseText(data_t(0.0001)), "0.0001");
  EXPECT_EQ(parseText(data_t(0.00001)), "1e-05");
}

TEST(ParseTextTest, WritesDoublesAsPrintfDoes) {
  // Exponents all over the range, with digits that round up and down.
  std::uint64_t random = 1;
  for (int i = 0; i < 20'000; ++i) {
    random = random * 6364136223846793005 + 1442695040888963407;
    const data_t value = valueOf(KEL_TAG_DOUBLE, random);
    char expected[50];
    std::snprintf(expected, sizeof(expected), "%g", value.raw().payload.number);
    ASSERT_EQ(parseText(value), expected) << random;
  }
  for (const double value :
       {0.0, 99999.95, 999999.5, 1e-5, 123456.5, 100000.0, 1000000.0, 5e-324,
        std::numeric_limits<double>::max(), std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(),
        -std::numeric_limits<double>::quiet_NaN()}) {
    char expected[50];
    std::snprintf(expected, sizeof(expected), "%g", value);
    EXPECT_EQ(parseText(data_t(value)), expected);
  }
}

TEST(ParseTextTest, WritesAFullStopAndNoGroupsInEveryLocale) {
  const CommaLocale locale;

  EXPECT_EQ(parseText(data_t(0.5)), "0.5");
  EXPECT_EQ(parseText(data_t(123456.0)), "123456");
  EXPECT_EQ(parseText(data_t(-1234567)), "-1234567");
}

TEST(ParseTextTest, GivesTextsOfBothKindsAsTheyAre) {
  EXPECT_EQ(parseText(data_t(" a\n")), " a\n");
  EXPECT_EQ(parseText(borrowed("abc")), "abc");
  EXPECT_EQ(parseText(data_t("")), "");
}

TEST(ParseTextTest, RefusesEmptyAndUnknownKinds) {
  EXPECT_EQ(thrownText([] { parseText(data_t()); }), "Trying to parse from empty");
  EXPECT_EQ(thrownText([] { parseText(valueOf(11)); }), "Trying to parse from empty");
  EXPECT_EQ(thrownText([] { parseText(valueOf(-1)); }), "Trying to parse from empty");
}

TEST(ParseTextTest, RefusesKindsWithoutATextByName) {
  CustomObject object;
  const auto refusal = [](const data_t& value) { return thrownText([&] { parseText(value); }); };

  EXPECT_EQ(refusal(valueOf(KEL_TAG_DECIMAL)),
            "Trying to parse from incorrect type (actually decimal)");
  EXPECT_EQ(refusal(listOf(1)), "Trying to parse from incorrect type (actually list)");
  EXPECT_EQ(refusal(mapOf(1, 2)), "Trying to parse from incorrect type (actually map)");
  EXPECT_EQ(refusal(bufferOf("1")), "Trying to parse from incorrect type (actually buffer)");
  EXPECT_EQ(refusal(object.value()), "Trying to parse from incorrect type (actually custom)");
}

TEST(ParseTextTest, WritesNoDiagnosticLine) {
  testing::internal::CaptureStderr();

  thrownText([] { parseText(listOf(1)); });

  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ParseTest, ConvertsTheText) {
  EXPECT_EQ(parse<std::int64_t>(data_t("42")), 42);
  EXPECT_EQ(parse<std::int64_t>(data_t(-3)), -3);
  EXPECT_EQ(parse<std::int64_t>(data_t(4.0)), 4);
  EXPECT_EQ(parse<double>(data_t("0.5")), 0.5);
  EXPECT_EQ(parse<double>(data_t(7)), 7.0);
  EXPECT_EQ(parse<bool>(data_t(1)), true);
  EXPECT_EQ(parse<std::string>(data_t(true)), "true");
}

TEST(ParseTest, RefusesOtherTextWithTheLibrarysError) {
  constexpr char kBadCast[] =
      "bad lexical cast: source type value could not be interpreted as target";
  const auto whatOf = [](auto&& function) -> std::string {
    try {
      function();
    } catch (const boost::bad_lexical_cast& error) {
      return error.what();
    }
    return "nothing was thrown";
  };

  EXPECT_EQ(whatOf([] { parse<std::int64_t>(data_t("4x")); }), kBadCast);
  EXPECT_EQ(whatOf([] { parse<std::int64_t>(data_t("")); }), kBadCast);
  EXPECT_EQ(whatOf([] { parse<std::int64_t>(data_t(4.5)); }), kBadCast);
  EXPECT_EQ(whatOf([] { parse<double>(data_t(true)); }), kBadCast);
}

TEST(ParseTest, PassesTheRefusalsOfTheTextOn) {
  EXPECT_EQ(thrownText([] { parse<bool>(data_t()); }), "Trying to parse from empty");
  EXPECT_EQ(thrownText([] { parse<bool>(listOf()); }),
            "Trying to parse from incorrect type (actually list)");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
