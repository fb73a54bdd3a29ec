#include "http/request_head.h"

#include <gtest/gtest.h>

#include <string>

namespace com::corvane::connectivity::plugins {
namespace {

std::string bytesOf(const RequestHead& head) {
  std::string bytes;
  head.appendTo(bytes);
  return bytes;
}

TEST(RequestHeadTest, IsALineTheFieldsInTheirOrderAndAnEmptyLine) {
  RequestHead head;
  head.begin("PUT", "/target?query");
  head.add("b", "2");
  head.add("a", "");

  EXPECT_EQ(bytesOf(head), "PUT /target?query HTTP/1.1\r\nb: 2\r\na: \r\n\r\n");
}

TEST(RequestHeadTest, IsAppendedToWhatThereIs) {
  RequestHead head;
  head.begin("GET", "/");
  std::string bytes = "before";

  head.appendTo(bytes);

  EXPECT_EQ(bytes, "beforeGET / HTTP/1.1\r\n\r\n");
}

TEST(RequestHeadTest, KeepsFieldsOfOneNameTogether) {
  RequestHead head;
  head.begin("GET", "/");
  head.add("cookie", "1");
  head.add("host", "h");
  head.add("Cookie", "2");
  head.add("COOKIE", "3");

  EXPECT_EQ(bytesOf(head),
            "GET / HTTP/1.1\r\ncookie: 1\r\nCookie: 2\r\nCOOKIE: 3\r\nhost: h\r\n\r\n");
}

TEST(RequestHeadTest, SetsAFieldWhereItStandsUnderItsName) {
  RequestHead head;
  head.begin("GET", "/");
  head.add("authorization", "old");
  head.add("x", "y");

  head.set("Authorization", "new");
  head.set("Other", "z");

  EXPECT_EQ(bytesOf(head), "GET / HTTP/1.1\r\nauthorization: new\r\nx: y\r\nOther: z\r\n\r\n");
}

TEST(RequestHeadTest, FindsNamesWithoutRegardToCase) {
  RequestHead head;
  head.begin("GET", "/");
  head.add("Host", "h");

  EXPECT_TRUE(head.has("hOST"));
  EXPECT_FALSE(head.has("hos"));
}

TEST(RequestHeadTest, PutsThePrefixBeforeTheTarget) {
  RequestHead head;
  head.begin("GET", "/");
  head.setTargetPrefix("http://h:1");
  head.setTarget("/other");

  EXPECT_EQ(bytesOf(head), "GET http://h:1/other HTTP/1.1\r\n\r\n");
}

TEST(RequestHeadTest, BeginsAfreshWithNothingOfTheOneBefore) {
  RequestHead head;
  head.begin("GET", "/");
  head.setTargetPrefix("http://h:1");
  head.add("a", head.keep(std::string(100, 'x')));

  head.begin("PUT", "/next");
  const std::string_view kept = head.keep(std::string(100, 'y'));
  for (int i = 0; i < 100; ++i) head.keep("more");
  head.add("b", kept);

  EXPECT_EQ(bytesOf(head), "PUT /next HTTP/1.1\r\nb: " + std::string(100, 'y') + "\r\n\r\n");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
