#include "http/response_head.h"

#include <Poco/Net/NetException.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace com::corvane::connectivity::plugins {
namespace {

using testing::ElementsAre;

std::string refusal(const std::string& text) {
  ResponseHead head;
  head.bytes() = text;
  try {
    head.parse();
  } catch (const Poco::Net::MessageException& failure) {
    return failure.message();
  }
  return "accepted";
}

std::vector<std::string> lines(const ResponseHead& head) {
  std::vector<std::string> result;
  for (const HeaderField& field : head.fields()) {
    result.push_back(std::string(field.name) + "=" + std::string(field.value));
  }
  return result;
}

TEST(ResponseHeadTest, ReadsStatusReasonAndFieldsInTheOrderReceived) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 404 Not  Found\r\nB: 2\r\na: 1\r\nB:3\r\n\r\n";
  head.parse();

  EXPECT_EQ(head.status(), 404);
  EXPECT_EQ(head.reason(), "Not  Found");
  EXPECT_EQ(head.minorVersion(), 1);
  EXPECT_THAT(lines(head), ElementsAre("B=2", "a=1", "B=3"));
}

TEST(ResponseHeadTest, KeepsTheReasonAsReceived) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200  Very\rgood \t\r\nname: value\r\n\r\n";
  head.parse();

  EXPECT_EQ(head.reason(), "Very good \t") << "a bare carriage return is a blank";
  EXPECT_STREQ(head.reason().data(), "Very good \t");
}

TEST(ResponseHeadTest, EndsEachTextWithNul) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\nname: value \r\n\r\n";
  head.parse();

  EXPECT_STREQ(head.reason().data(), "OK");
  EXPECT_STREQ(head.fields()[0].name.data(), "name");
  EXPECT_STREQ(head.fields()[0].value.data(), "value");
}

TEST(ResponseHeadTest, AcceptsLinesThatEndWithLineFeedAlone) {
  ResponseHead head;

  head.bytes() = "HTTP/1.0 200\na:b\n\n";
  head.parse();

  EXPECT_EQ(head.minorVersion(), 0);
  EXPECT_EQ(head.reason(), "");
  EXPECT_STREQ(head.reason().data(), "");
  EXPECT_THAT(lines(head), ElementsAre("a=b"));
}

TEST(ResponseHeadTest, AcceptsAStatusLineWithoutReason) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 \r\n\r\n";
  head.parse();

  EXPECT_EQ(head.status(), 200);
  EXPECT_EQ(head.reason(), "");
}

TEST(ResponseHeadTest, JoinsFoldedLinesByOneBlank) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\na: one \r\n \t two\r\n\tthree\r\nb: x\r\n\r\n";
  head.parse();

  EXPECT_THAT(lines(head), ElementsAre("a=one two three", "b=x"));
}

TEST(ResponseHeadTest, KeepsBytesAboveSevenBitsAndEmptyValues) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 \xC9t\xE9\r\na: \xFF\xE9\r\nb:\r\n\r\n";
  head.parse();

  EXPECT_EQ(head.reason(), "\xC9t\xE9");
  EXPECT_THAT(lines(head), ElementsAre("a=\xFF\xE9", "b="));
}

TEST(ResponseHeadTest, KeepsEncodedWordsAsTheyAre) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\na: =?UTF-8?Q?x=0D=0Ay?=\r\n\r\n";
  head.parse();

  EXPECT_THAT(lines(head), ElementsAre("a==?UTF-8?Q?x=0D=0Ay?="));
}

TEST(ResponseHeadTest, ReplacesABareCarriageReturnByABlank) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\na: x\ry\r\n\r\n";
  head.parse();

  EXPECT_THAT(lines(head), ElementsAre("a=x y"));
}

TEST(ResponseHeadTest, FindsFieldsWithoutRegardToCase) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\nVia: a\r\nVIA: b\r\nempty:\r\n\r\n";
  head.parse();

  EXPECT_EQ(head.find("via"), "a");
  EXPECT_TRUE(head.has("Empty"));
  EXPECT_FALSE(head.has("none"));
}

TEST(ResponseHeadTest, RefusesWhatIsNoStatusLine) {
  EXPECT_EQ(refusal("HTP/1.1 200 OK\r\n\r\n"), "Invalid status line");
  EXPECT_EQ(refusal("HTTP/2.0 200 OK\r\n\r\n"), "Invalid status line");
  EXPECT_EQ(refusal("HTTP/1.1\r\n\r\n"), "Invalid status line");
  EXPECT_EQ(refusal("HTTP/1.1 2x0 OK\r\n\r\n"), "Invalid status code");
  EXPECT_EQ(refusal("HTTP/1.1 2000 OK\r\n\r\n"), "Invalid status code");
  EXPECT_EQ(refusal("HTTP/1.1 099 OK\r\n\r\n"), "Invalid status code");
}

TEST(ResponseHeadTest, RefusesMalformedFields) {
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\nno colon\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\n: no name\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\na name: blank\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\n : blank\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\n folded: first\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal(std::string("HTTP/1.1 200 OK\r\na: \0b\r\n\r\n", 25)),
            "NUL byte in the response head");
}

TEST(ResponseHeadTest, AcceptsNamesWithLatin1BytesAndBlanksBehindThem) {
  ResponseHead head;

  head.bytes() = "HTTP/1.1 200 OK\r\nCaf\xC9: 1\r\nContent-Length \t: 2\r\n\r\n";
  head.parse();

  EXPECT_THAT(lines(head), ElementsAre("Caf\xC9=1", "Content-Length=2"));
  EXPECT_EQ(head.find("content-length"), "2");
}

// A bare carriage return stands for a blank in a value only, folded or not.
TEST(ResponseHeadTest, RefusesACarriageReturnInANameWithFolds) {
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\nb\r :\r\n\r\n"), "Malformed header field");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\nb\r\n \r\r\n :\r\n\r\n"), "Malformed header field");
}

TEST(ResponseHeadTest, TakesAThousandFoldsAndNoMore) {
  std::string head = "HTTP/1.1 200 OK\r\na: b";
  for (int i = 0; i < 1000; ++i) head += "\n c";

  EXPECT_EQ(refusal(head + "\r\n\r\n"), "accepted");
  EXPECT_EQ(refusal(head + "\n c\r\n\r\n"), "Too many folded header lines");
}

TEST(ResponseHeadTest, TakesAThousandFieldsAndNoMore) {
  std::string head = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 1000; ++i) head += "a: b\r\n";

  EXPECT_EQ(refusal(head + "\r\n"), "accepted");
  EXPECT_EQ(refusal(head + "a: b\r\n\r\n"), "Too many header fields");
}

TEST(ResponseHeadTest, TakesAFieldOfSixtyFourKibAndNoMore) {
  const std::string field = "a:" + std::string(ResponseHead::kFieldBytesMax - 2, 'x');

  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\n" + field + "\r\n\r\n"), "accepted");
  EXPECT_EQ(refusal("HTTP/1.1 200 OK\r\n" + field + "x\r\n\r\n"), "Header field too long");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
