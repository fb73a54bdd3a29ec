#include "chainhost/message_line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "chainhost/response_line.h"

namespace chainhost {
namespace {

// A line with the readable bytes behind it that the parser needs.
void parseLine(const std::string& line, Batch& batch) {
  const std::string padded = line + std::string(JsonParser::kPaddingBytes, '}');
  MessageParser parser;
  parser.parse(std::string_view(padded).substr(0, line.size()), batch);
}

std::string failureOf(const std::string& line) {
  Batch batch;
  try {
    parseLine(line, batch);
  } catch (const JsonError& error) {
    EXPECT_TRUE(batch.empty());
    return error.what();
  }
  return "no failure";
}

// The one message of a line, with its metadata and payload at hand.
class Parsed {
 public:
  explicit Parsed(const std::string& line) { parseLine(line, batch_); }

  const kel_data& payload() { return batch_.begin()->payload; }
  const map_block* metadata() { return batch_.begin()->metadata; }
  // The value of a metadata key; "empty" when there is none.
  kel_data value(const char* key) {
    const kel_data* const found = find(metadata(), TextKey(key));
    EXPECT_NE(found, nullptr) << key;
    return found == nullptr ? kel_data{} : *found;
  }

 private:
  Batch batch_;
};

kel_data metadataValue(Parsed& parsed) { return parsed.value("v"); }

TEST(MessageLineTest, TurnsAStringPayloadIntoABufferOfItsBytes) {
  Parsed parsed(R"({"payload": "a\u0000\u00e9\"", "metadata": {}})");

  EXPECT_EQ(parsed.payload().tag, KEL_TAG_BUFFER);
  EXPECT_EQ(bytes(parsed.payload().payload.buffer), std::string_view("a\0\xC3\xA9\"", 5));
}

TEST(MessageLineTest, TurnsABase64PayloadIntoABuffer) {
  Parsed parsed(R"({"payload": {"$base64": "AP8="}})");

  EXPECT_EQ(parsed.payload().tag, KEL_TAG_BUFFER);
  EXPECT_EQ(bytes(parsed.payload().payload.buffer), std::string_view("\0\xFF", 2));
}

TEST(MessageLineTest, TurnsAnObjectPayloadIntoAFormOfStringsAndBuffers) {
  Parsed parsed(R"({"payload": {"name": "n", "file": {"$base64": "AP8="}}})");

  ASSERT_EQ(parsed.payload().tag, KEL_TAG_MAP);
  const map_block* const form = parsed.payload().payload.map;
  EXPECT_STREQ(find(form, TextKey("name"))->payload.string, "n");
  EXPECT_EQ(find(form, TextKey("file"))->tag, KEL_TAG_BUFFER);
  EXPECT_EQ(bytes(find(form, TextKey("file"))->payload.buffer), std::string_view("\0\xFF", 2));
}

TEST(MessageLineTest, TakesAMissingPayloadAsAnEmptyBuffer) {
  Parsed parsed(R"({"metadata": {}})");

  EXPECT_EQ(parsed.payload().tag, KEL_TAG_BUFFER);
  ASSERT_NE(parsed.payload().payload.buffer, nullptr);
  EXPECT_EQ(parsed.payload().payload.buffer->length, 0U);
}

TEST(MessageLineTest, TakesANullPayloadAsTheEmptyValue) {
  Parsed parsed(R"({"payload": null})");

  EXPECT_EQ(parsed.payload().tag, KEL_TAG_EMPTY);
}

TEST(MessageLineTest, HandsOtherPayloadsOverAsTheirKinds) {
  EXPECT_EQ(Parsed(R"({"payload": 1})").payload().tag, KEL_TAG_INTEGER);
  EXPECT_EQ(Parsed(R"({"payload": true})").payload().tag, KEL_TAG_BOOLEAN);
  EXPECT_EQ(Parsed(R"({"payload": []})").payload().tag, KEL_TAG_LIST);
  EXPECT_EQ(Parsed(R"({"payload": {"$decimal": "1"}})").payload().tag, KEL_TAG_DECIMAL);
}

TEST(MessageLineTest, TakesMissingMetadataAsNone) {
  EXPECT_EQ(Parsed("{}").metadata(), nullptr);
  EXPECT_EQ(Parsed(R"({"metadata": {}})").metadata(), nullptr);
}

TEST(MessageLineTest, KeepsNestedMapsAndListsOfTheMetadata) {
  Parsed parsed(R"({"metadata": {"v": {"list": [1, "two", [null], {"k": false}]}}})");

  ASSERT_EQ(metadataValue(parsed).tag, KEL_TAG_MAP);
  const kel_data* const list = find(metadataValue(parsed).payload.map, TextKey("list"));
  ASSERT_EQ(list->tag, KEL_TAG_LIST);
  const auto members = elements(list->payload.list);
  ASSERT_EQ(members.size(), 4U);
  EXPECT_EQ(members[0].payload.integer, 1);
  EXPECT_STREQ(members[1].payload.string, "two");
  EXPECT_EQ(elements(members[2].payload.list)[0].tag, KEL_TAG_EMPTY);
  EXPECT_EQ(find(members[3].payload.map, TextKey("k"))->tag, KEL_TAG_BOOLEAN);
}

struct IntegerCase {
  const char* name;
  const char* text;
  std::int64_t value;
};

class MessageLineIntegerTest : public testing::TestWithParam<IntegerCase> {};

TEST_P(MessageLineIntegerTest, IsAnInteger) {
  Parsed parsed(std::string(R"({"metadata": {"v": )") + GetParam().text + "}}");

  ASSERT_EQ(metadataValue(parsed).tag, KEL_TAG_INTEGER);
  EXPECT_EQ(metadataValue(parsed).payload.integer, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, MessageLineIntegerTest,
    testing::Values(IntegerCase{"Zero", "0", 0}, IntegerCase{"NegativeZero", "-0", 0},
                    IntegerCase{"Above53Bits", "9007199254740993", 9007199254740993},
                    IntegerCase{"Largest", "9223372036854775807", INT64_MAX},
                    IntegerCase{"Smallest", "-9223372036854775808", INT64_MIN}),
    [](const auto& param) { return param.param.name; });

struct DoubleCase {
  const char* name;
  const char* text;
  double value;
};

class MessageLineDoubleTest : public testing::TestWithParam<DoubleCase> {};

TEST_P(MessageLineDoubleTest, IsADouble) {
  Parsed parsed(std::string(R"({"metadata": {"v": )") + GetParam().text + "}}");

  ASSERT_EQ(metadataValue(parsed).tag, KEL_TAG_DOUBLE);
  EXPECT_EQ(metadataValue(parsed).payload.number, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, MessageLineDoubleTest,
    testing::Values(DoubleCase{"Fraction", "1.0", 1.0}, DoubleCase{"Exponent", "1e0", 1.0},
                    DoubleCase{"Exact", "0.1", 0.1},
                    DoubleCase{"OneAboveTheLargest", "9223372036854775808", 9223372036854775808.0},
                    DoubleCase{"OneBelowTheSmallest", "-9223372036854775809",
                               -9223372036854775808.0},
                    DoubleCase{"LargestUnsigned", "18446744073709551615", 18446744073709551616.0},
                    DoubleCase{"AboveUnsigned", "18446744073709551616", 18446744073709551616.0},
                    DoubleCase{"ThirtyDigits", "123456789012345678901234567890",
                               123456789012345678901234567890.0},
                    DoubleCase{"TooSmall", "1e-400", 0.0},
                    DoubleCase{"Largest", "1.7976931348623157e308", 1.7976931348623157e308}),
    [](const auto& param) { return param.param.name; });

TEST(MessageLineTest, ReadsLargeIntegersBesideAnythingElse) {
  Parsed parsed(
      R"({"payload": "\"99999999999999999999 ", "metadata": {"large": [99999999999999999999, )"
      R"(-99999999999999999999], "integer": 1234567890123456789, "v": 99999999999999999999}})");

  EXPECT_EQ(bytes(parsed.payload().payload.buffer), "\"99999999999999999999 ");
  EXPECT_EQ(parsed.value("integer").payload.integer, 1234567890123456789);
  EXPECT_EQ(metadataValue(parsed).payload.number, 99999999999999999999.0);
  EXPECT_EQ(elements(parsed.value("large").payload.list)[1].payload.number,
            -99999999999999999999.0);
}

TEST(MessageLineTest, ReadsDecimals) {
  Parsed parsed(R"({"metadata": {"v": {"$decimal": "-1.25"}}})");

  ASSERT_EQ(metadataValue(parsed).tag, KEL_TAG_DECIMAL);
  const Value text = Value::adopt(kel_data_to_string(metadataValue(parsed)));
  EXPECT_STREQ(text.raw().payload.string, "-1.25");
}

TEST(MessageLineTest, TakesSpecialNamesAmongOthersAsOrdinaryOnes) {
  Parsed parsed(R"({"metadata": {"v": {"$decimal": "1", "$base64": 2}, "$base64": "x"}})");

  ASSERT_EQ(metadataValue(parsed).tag, KEL_TAG_MAP);
  EXPECT_EQ(metadataValue(parsed).payload.map->count, 2U);
  EXPECT_STREQ(parsed.value("$base64").payload.string, "x");
}

TEST(MessageLineTest, IgnoresWhiteSpaceAroundALine) {
  EXPECT_EQ(Parsed(" \t{} \r").metadata(), nullptr);
}

TEST(MessageLineTest, IgnoresWhatFollowsTheLineInTheBuffer) {
  const std::string text = R"({"payload": 1}{"payload": 2})" + std::string(64, '\n');
  MessageParser parser;
  Batch batch;

  parser.parse(std::string_view(text).substr(0, 14), batch);

  EXPECT_EQ(batch.begin()->payload.payload.integer, 1);
}

TEST(MessageLineTest, NestsUpToTheLimit) {
  const auto nested = [](int levels) {
    return R"({"metadata": {"v": )" + std::string(static_cast<std::size_t>(levels), '[') +
           std::string(static_cast<std::size_t>(levels), ']') + "}}";
  };

  EXPECT_EQ(failureOf(nested(1020)), "no failure");
  EXPECT_EQ(failureOf(nested(1024)), "invalid JSON: it is nested too deeply");
}

struct RefusedLine {
  const char* name;
  std::string line;
  const char* text;
};

class MessageLineRefusedTest : public testing::TestWithParam<RefusedLine> {};

TEST_P(MessageLineRefusedTest, IsRefusedWithItsReason) {
  EXPECT_EQ(failureOf(GetParam().line), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, MessageLineRefusedTest,
    testing::Values(
        RefusedLine{"Empty", "", "the line is blank"},
        RefusedLine{"Blank", " \t \r", "the line is blank"},
        RefusedLine{"Number", "1", "the line is no JSON object"},
        RefusedLine{"Array", R"([{"payload": 1}])", "the line is no JSON object"},
        RefusedLine{"UnknownMember", R"({"payload": "x", "meta": {}})",
                    R"(unknown member "meta" (a message has "payload" and "metadata"))"},
        RefusedLine{"TwoPayloads", R"({"payload": 1, "payload": 2})",
                    R"(the member "payload" occurs twice)"},
        RefusedLine{"TwoMetadata", R"({"metadata": {}, "metadata": {}})",
                    R"(the member "metadata" occurs twice)"},
        RefusedLine{"MetadataNull", R"({"metadata": null})", R"("metadata" must be an object)"},
        RefusedLine{"MetadataText", R"({"metadata": "x"})", R"("metadata" must be an object)"},
        RefusedLine{"DuplicateKey", R"({"metadata": {"http": {"path": "/", "path": "/x"}}})",
                    R"(metadata.http: the key "path" occurs twice)"},
        RefusedLine{"DuplicateFormField", R"({"payload": {"a": "1", "a": "2"}})",
                    R"(payload: the key "a" occurs twice)"},
        RefusedLine{"NulInText", R"({"metadata": {"http": {"path": "/\u0000x"}}})",
                    "metadata.http.path: a string must not contain U+0000"},
        RefusedLine{"NulInKey", R"({"metadata": {"a\u0000b": 1}})",
                    R"(metadata: the key "a" must not contain U+0000)"},
        RefusedLine{"BadDecimal", R"({"metadata": {"v": {"$decimal": "1,25"}}})",
                    R"(metadata.v: "1,25" is not a decimal number of at most 16 digits)"},
        RefusedLine{
            "LongDecimal", R"({"metadata": {"v": {"$decimal": "12345678901234567"}}})",
            R"(metadata.v: "12345678901234567" is not a decimal number of at most 16 digits)"},
        RefusedLine{"DecimalNumber", R"({"metadata": {"v": {"$decimal": 1.25}}})",
                    R"(metadata.v: "$decimal" must be a string)"},
        RefusedLine{"BadBase64", R"({"payload": {"$base64": "x"}})",
                    R"(payload: "$base64" holds no base64 text)"},
        RefusedLine{"Base64Null", R"({"payload": {"$base64": null}})",
                    R"(payload: "$base64" must be a string)"}),
    [](const auto& param) { return param.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Syntax, MessageLineRefusedTest,
    testing::Values(
        RefusedLine{"Truncated", R"({"payload": "x", "metadata": {"requestId": 1)",
                    "invalid JSON: a comma, a bracket or a value is missing or misplaced"},
        RefusedLine{"TruncatedText", R"({"payload": "x)", "invalid JSON: a string is not closed"},
        RefusedLine{"TrailingText", "{} x",
                    "invalid JSON: a comma, a bracket or a value is missing or misplaced"},
        RefusedLine{"TrailingComma", R"({"payload": 1,})",
                    "invalid JSON: a comma, a bracket or a value is missing or misplaced"},
        RefusedLine{"SingleQuotes", "{'payload': 1}",
                    "invalid JSON: a comma, a bracket or a value is missing or misplaced"},
        RefusedLine{"BadEscape", R"({"payload": "\x"})", "invalid JSON: a string has a bad escape"},
        RefusedLine{"LoneSurrogate", R"({"payload": "\ud800"})",
                    "invalid JSON: a string has a bad escape"},
        RefusedLine{"ControlCharacter", "{\"payload\": \"\x01\"}",
                    "invalid JSON: a string has a control character that is not escaped"},
        RefusedLine{"NoUtf8", "{\"payload\": \"\xFF\"}", "invalid JSON: it is not UTF-8"},
        RefusedLine{"LeadingZero", R"({"payload": 01})",
                    "invalid JSON: a number is malformed or too large"},
        RefusedLine{"HugeNumber", R"({"payload": 1e400})",
                    "invalid JSON: a number is malformed or too large"},
        RefusedLine{"HugeInteger", R"({"payload": 1)" + std::string(400, '0') + "}",
                    "invalid JSON: a number is malformed or too large"},
        RefusedLine{"NoWord", R"({"payload": nul})",
                    "invalid JSON: a word is none of true, false and null"}),
    [](const auto& param) { return param.param.name; });

TEST(MessageLineTest, WritesBackWhatItRead) {
  const std::string line =
      R"({"payload": "text", "metadata": {"v": [1, 1.0, true, null, "s", {"$decimal": "1.20"}, )"
      R"({"$base64": "AP8="}, {"k": []}]}})";
  Batch batch;
  parseLine(line, batch);
  TextBuffer out;

  appendResponseLine(out, *batch.begin());

  EXPECT_EQ(out.view(), line + "\n");
}

}  // namespace
}  // namespace chainhost
