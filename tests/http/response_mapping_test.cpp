#include "http/response_mapping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http/messages.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::get;

class ResponseMappingTest : public testing::Test {
 protected:
  static RequestDetails details() {
    return RequestDetails(bufferValue("sent"), data_t(std::int64_t{7}), data_t("PUT"),
                          data_t("/path"), {}, {}, {}, data_t(), 0);
  }

  static buffer_t bytes(std::string_view text) {
    return buffer_t::copyOf(text.data(), text.size());
  }

  Message map(const std::string& fields, const std::string& body = "body") {
    head_.clear();
    head_.bytes() = "HTTP/1.1 404 Not Found\r\n" + fields + "\r\n";
    head_.parse();
    RequestDetails record = details();
    return mapping_.map(head_, bytes(body), record);
  }

  static std::string charset(Message& message) {
    return message.metadata.find("charset") == message.metadata.end()
               ? "absent"
               : textAt(message.metadata, "charset");
  }

  test_support::FakeHost host_;
  connectivity10_15_0::Logger log_{"category"};
  ThreadLogger logger_{log_, 3};
  MessageKeys keys_;
  CookieJar jar_{true};
  ResponseMapping mapping_{keys_, jar_, logger_};
  ResponseHead head_;
};

TEST_F(ResponseMappingTest, DescribesTheResponse) {
  Message message = map("Content-Type: Text/HTML; Charset=UTF8\r\nX-Name: Value\r\n");

  EXPECT_EQ(get<buffer_t>(message.payload).view(), "body");
  EXPECT_EQ(message.metadata.size(), 4u);
  EXPECT_EQ(get<std::int64_t>(at(message.metadata, "requestId")), 7);
  EXPECT_EQ(textAt(message.metadata, "contentType"), "text/html");
  EXPECT_EQ(textAt(message.metadata, "charset"), "utf-8");
  map_t& http = mapAt(message.metadata, "http");
  EXPECT_EQ(http.size(), 6u);
  EXPECT_EQ(get<std::int64_t>(at(http, "statusCode")), 404);
  EXPECT_EQ(textAt(http, "statusReason"), "Not Found");
  EXPECT_EQ(textAt(http, "method"), "PUT");
  EXPECT_EQ(textAt(http, "path"), "/path");
  EXPECT_TRUE(mapAt(http, "cookies").empty());
  EXPECT_EQ(textAt(mapAt(http, "headers"), "x-name"), "Value");
  EXPECT_EQ(textAt(mapAt(http, "headers"), "content-type"), "Text/HTML; Charset=UTF8");
}

TEST_F(ResponseMappingTest, NamesNoCharsetThatWasNotGiven) {
  Message message = map("Content-Type: application/json\r\n");

  EXPECT_EQ(textAt(message.metadata, "contentType"), "application/json");
  EXPECT_EQ(charset(message), "absent");
}

TEST_F(ResponseMappingTest, NamesNoContentTypeThatWasNotGiven) {
  Message none = map("");
  Message empty = map("Content-Type:\r\n");

  EXPECT_EQ(none.metadata.size(), 2u);
  EXPECT_EQ(empty.metadata.size(), 2u);
}

TEST_F(ResponseMappingTest, TakesTheTypeFromTheLastOfSeveralAndDeliversNoneAsAHeader) {
  Message message = map("Content-Type: a/b; charset=x\r\nContent-Type: C/D\r\n");

  EXPECT_EQ(textAt(message.metadata, "contentType"), "c/d");
  EXPECT_EQ(charset(message), "absent");
  EXPECT_TRUE(mapAt(mapAt(message.metadata, "http"), "headers").empty());
}

TEST_F(ResponseMappingTest, DeliversTheReasonAsReceived) {
  head_.clear();
  head_.bytes() = "HTTP/1.1 200 Caf\xE9  au lait\r\n\r\n";
  head_.parse();
  RequestDetails record = details();

  Message message = mapping_.map(head_, buffer_t(0), record);

  EXPECT_EQ(textAt(mapAt(message.metadata, "http"), "statusReason"), "Caf\xE9  au lait");
}

TEST_F(ResponseMappingTest, QuotesACharsetThatIsNoToken) {
  Message message = map("Content-Type: a/b; charset=\"x y\"\r\n");

  EXPECT_EQ(charset(message), "\"x y\"");
}

TEST_F(ResponseMappingTest, LeavesOutHeadersThatOccurMoreThanOnce) {
  host_.setLogLevel(5);
  connectivity10_15_0::Logger log{"category"};
  ThreadLogger logger{log, 3};
  ResponseMapping mapping{keys_, jar_, logger};
  head_.bytes() = "HTTP/1.1 200 OK\r\nVia: a\r\nvia: b\r\nVIA: c\r\nOther: d\r\n\r\n";
  head_.parse();
  RequestDetails record = details();

  Message message = mapping.map(head_, buffer_t(0), record);

  map_t& headers = mapAt(mapAt(message.metadata, "http"), "headers");
  EXPECT_EQ(headers.size(), 1u);
  EXPECT_EQ(textAt(headers, "other"), "d");
  const auto lines = host_.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 5);
  EXPECT_EQ(lines[0].text,
            "<category> {3} Ignoring HTTP header via because it's duplicated in the message");
}

TEST_F(ResponseMappingTest, DeliversHeaderValuesInUtf8) {
  Message message = map("X: caf\xE9\r\nCaf\xE9: y\r\n");

  map_t& headers = mapAt(mapAt(message.metadata, "http"), "headers");
  EXPECT_EQ(textAt(headers, "x"), "caf\xC3\xA9");
  EXPECT_EQ(textAt(headers, "caf\xC3\xA9"), "y");
}

TEST_F(ResponseMappingTest, ReportsCookiesButNotDeletedOnes) {
  Message message =
      map("Set-Cookie: a=1; Path=/\r\nSet-Cookie: b=2; Max-Age=0\r\nSet-Cookie: a=3\r\n"
          "Set-Cookie: c=4; Max-Age=soon\r\nSet-Cookie: d=5; Partitioned\r\n");

  map_t& cookies = mapAt(mapAt(message.metadata, "http"), "cookies");
  EXPECT_EQ(cookies.size(), 2u);
  EXPECT_EQ(textAt(cookies, "a"), "1");
  EXPECT_EQ(textAt(cookies, "d"), "5");
}

TEST_F(ResponseMappingTest, ReportsTheBytesOfCookiesAsTheyAre) {
  Message message = map("Set-Cookie: utf8=caf\xC3\xA9\r\nSet-Cookie: latin1=caf\xE9\r\n");

  map_t& cookies = mapAt(mapAt(message.metadata, "http"), "cookies");
  EXPECT_EQ(textAt(cookies, "utf8"), "caf\xC3\xA9");
  EXPECT_EQ(textAt(cookies, "latin1"), "caf\xE9");
}

TEST_F(ResponseMappingTest, HandsTheCookiesToTheJar) {
  map("Set-Cookie: a=1\r\nSet-Cookie: b=2\r\nSet-Cookie: a=3\r\nSet-Cookie: c=4\r\n");
  map("Set-Cookie: b=; Max-Age=0\r\nSet-Cookie: c=5; Max-Age=soon\r\n");

  std::string sent;
  for (const auto& [name, value] : jar_.requestCookies({}, "/")) sent += name + "=" + value + " ";
  EXPECT_EQ(sent, "a=3 c=4 ");
}

TEST_F(ResponseMappingTest, DumpsTheResponseAtTrace) {
  host_.setLogLevel(6);
  connectivity10_15_0::Logger log{"category"};
  ThreadLogger logger{log, 3};
  ResponseMapping mapping{keys_, jar_, logger};
  head_.bytes() = "HTTP/1.1 200 OK\r\nX-Name: Value\r\n\r\n";
  head_.parse();
  RequestDetails first = details();
  RequestDetails second = details();

  mapping.map(head_, bytes("\x01\xff"), first);
  mapping.map(head_, buffer_t(0), second);

  EXPECT_THAT(host_.textsAt(6),
              testing::ElementsAre("<category> {3}    response status = 200",
                                   "<category> {3}    response header X-Name = Value",
                                   "<category> {3}    response payload: [0x01,0xff]",
                                   "<category> {3}    response status = 200",
                                   "<category> {3}    response header X-Name = Value",
                                   "<category> {3}    response payload: <no payload>"));
  EXPECT_EQ(host_.lines()[0].format, "<%s> {%I64u}    response status = %I64d");
}

TEST_F(ResponseMappingTest, DescribesAFailure) {
  data_t requestId("id");
  data_t method("GET");
  data_t path;

  Message message = mapping_.mapFailure("what went wrong");
  mapping_.address(message, std::move(requestId), std::move(method), std::move(path));

  EXPECT_EQ(get<buffer_t>(message.payload).view(), "what went wrong");
  EXPECT_EQ(message.metadata.size(), 4u);
  EXPECT_EQ(textAt(message.metadata, "requestId"), "id");
  EXPECT_EQ(textAt(message.metadata, "contentType"), "text/plain");
  EXPECT_EQ(textAt(message.metadata, "charset"), "utf-8");
  map_t& http = mapAt(message.metadata, "http");
  EXPECT_EQ(http.size(), 4u);
  EXPECT_EQ(get<std::int64_t>(at(http, "statusCode")), 400);
  EXPECT_EQ(textAt(http, "statusReason"), "what went wrong");
  EXPECT_EQ(textAt(http, "method"), "GET");
  EXPECT_EQ(textAt(http, "path"), "");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
