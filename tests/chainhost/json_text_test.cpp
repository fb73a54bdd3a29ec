#include "chainhost/json_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace chainhost {
namespace {

std::string jsonText(std::string_view text) {
  TextBuffer out;
  appendJsonText(out, text);
  return std::string(out.view());
}

std::string jsonNumber(double value) {
  TextBuffer out;
  appendJsonNumber(out, value);
  return std::string(out.view());
}

std::string jsonBytes(std::string_view bytes) {
  TextBuffer out;
  appendJsonBytes(out, bytes);
  return std::string(out.view());
}

TEST(JsonTextTest, EscapesWhatJsonForbidsInTexts) {
  EXPECT_EQ(jsonText("a\"b\\c\nd\re\tf"), R"("a\"b\\c\nd\re\tf")");
  EXPECT_EQ(jsonText(std::string_view("\x00\x01\x1F", 3)), R"("\u0000\u0001\u001f")");
}

TEST(JsonTextTest, LeavesEverythingElseAsItIs) {
  EXPECT_EQ(jsonText(""), "\"\"");
  EXPECT_EQ(jsonText("/ \x7F \xC3\xA9 \xF0\x9F\x98\x80"), "\"/ \x7F \xC3\xA9 \xF0\x9F\x98\x80\"");
}

// What stands at one place of a text that is otherwise plain, and what it becomes. The places are
// those of the blocks that are looked at together, and of what is left behind these.
struct Placed {
  const char* name;
  std::string bytes;
  std::string written;
};

class JsonTextPlaceTest : public testing::TestWithParam<Placed> {
 protected:
  static constexpr std::size_t kPlaces = 40;
};

TEST_P(JsonTextPlaceTest, IsFoundWhereverItStands) {
  for (std::size_t place = 0; place <= kPlaces; ++place) {
    const std::string before(place, 'a');
    const std::string after(kPlaces - place, 'z');
    const std::string written = '"' + before + GetParam().written + after + '"';
    EXPECT_EQ(jsonText(before + GetParam().bytes + after), written);
  }
}

TEST_P(JsonTextPlaceTest, IsFoundAgainBehindAnEscape) {
  for (std::size_t place = 0; place <= kPlaces; ++place) {
    const std::string between(place, 'a');
    const std::string written = "\"\\\"" + between + GetParam().written + "\\n\"";
    EXPECT_EQ(jsonText('"' + between + GetParam().bytes + '\n'), written);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Bytes, JsonTextPlaceTest,
    testing::Values(Placed{"Nul", std::string(1, '\0'), R"(\u0000)"},
                    Placed{"LastControl", "\x1F", R"(\u001f)"}, Placed{"Blank", " ", " "},
                    Placed{"BeforeQuote", "!", "!"}, Placed{"Quote", "\"", R"(\")"},
                    Placed{"AfterQuote", "#", "#"}, Placed{"BeforeBackslash", "[", "["},
                    Placed{"Backslash", "\\", R"(\\)"}, Placed{"AfterBackslash", "]", "]"},
                    Placed{"Delete", "\x7F", "\x7F"}, Placed{"TwoBytes", "\xC3\xA9", "\xC3\xA9"},
                    Placed{"FourBytes", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
                    Placed{"LoneHigh", "\x80", "\xEF\xBF\xBD"},
                    Placed{"HighestByte", "\xFF", "\xEF\xBF\xBD"}),
    [](const auto& param) { return param.param.name; });

TEST(JsonTextTest, WritesTextsOfAnyLength) {
  for (std::size_t length = 0; length <= 70; ++length) {
    const std::string text(length, 'x');
    EXPECT_EQ(jsonText(text), '"' + text + '"');
  }
}

TEST(JsonTextTest, WritesLongTextsOfEachKind) {
  const std::string plain(100'000, 'x');

  EXPECT_TRUE(jsonBytes(plain) == '"' + plain + '"');
  EXPECT_TRUE(jsonBytes(plain + '\n') == '"' + plain + "\\n\"");
  EXPECT_TRUE(jsonBytes(plain + "\xC3\xA9") == '"' + plain + "\xC3\xA9\"");
  EXPECT_TRUE(jsonText(plain + '\xFF') == '"' + plain + "\xEF\xBF\xBD\"");
  EXPECT_TRUE(jsonBytes(plain + '\xFF').starts_with("{\"$base64\": \"eHh4"));
}

struct Malformed {
  const char* name;
  std::string bytes;
  std::string mended;
};

class JsonTextMalformedTest : public testing::TestWithParam<Malformed> {};

TEST_P(JsonTextMalformedTest, ReplacesEachByteThatIsNoUtf8) {
  EXPECT_EQ(jsonText(GetParam().bytes), '"' + GetParam().mended + '"');
}

INSTANTIATE_TEST_SUITE_P(
    Sequences, JsonTextMalformedTest,
    testing::Values(Malformed{"Latin1", "caf\xE9!", "caf\xEF\xBF\xBD!"},
                    Malformed{"LoneContinuation", "\x80", "\xEF\xBF\xBD"},
                    Malformed{"Overlong", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
                    Malformed{"OverlongThree", "\xE0\x80\xAF",
                              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    Malformed{"Surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    Malformed{"TooHigh", "\xF4\x90\x80\x80",
                              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
                    Malformed{"Broken", "\xE2(\xA1", "\xEF\xBF\xBD(\xEF\xBF\xBD"},
                    Malformed{"Cut", "a\xE2\x82", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
                    Malformed{"GoodAround", "\xC3\xA9\xFF\xE2\x82\xAC\xF0\x9F\x98\x80",
                              "\xC3\xA9\xEF\xBF\xBD\xE2\x82\xAC\xF0\x9F\x98\x80"}),
    [](const auto& param) { return param.param.name; });

TEST(JsonTextTest, WritesIntegersWhole) {
  TextBuffer out;

  appendJsonInteger(out, std::numeric_limits<std::int64_t>::min());
  out += ' ';
  appendJsonInteger(out, std::numeric_limits<std::int64_t>::max());

  EXPECT_EQ(out.view(), "-9223372036854775808 9223372036854775807");
}

TEST(JsonTextTest, WritesDoublesShortestAndNeverAsIntegers) {
  EXPECT_EQ(jsonNumber(1), "1.0");
  EXPECT_EQ(jsonNumber(-0.0), "-0.0");
  EXPECT_EQ(jsonNumber(0.1), "0.1");
  EXPECT_EQ(jsonNumber(1e22), "1e+22");
  EXPECT_EQ(jsonNumber(123456789012345680.0), "123456789012345680.0");
  EXPECT_EQ(jsonNumber(5e-324), "5e-324");
  EXPECT_EQ(jsonNumber(1.7976931348623157e308), "1.7976931348623157e+308");
}

TEST(JsonTextTest, WritesWhatIsNoNumberAsText) {
  EXPECT_EQ(jsonNumber(std::nan("")), "\"NaN\"");
  EXPECT_EQ(jsonNumber(std::numeric_limits<double>::infinity()), "\"Infinity\"");
  EXPECT_EQ(jsonNumber(-std::numeric_limits<double>::infinity()), "\"-Infinity\"");
}

TEST(JsonTextTest, WritesUtf8BytesAsTextAndOthersAsBase64) {
  EXPECT_EQ(jsonBytes(""), "\"\"");
  EXPECT_EQ(jsonBytes(std::string_view("a\0\xC3\xA9", 4)), "\"a\\u0000\xC3\xA9\"");
  EXPECT_EQ(jsonBytes("\xFF"), R"({"$base64": "/w=="})");
}

}  // namespace
}  // namespace chainhost
