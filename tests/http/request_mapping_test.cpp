#include "http/request_mapping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "http/messages.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::get;
using testing::IsEmpty;

class RequestMappingTest : public testing::Test {
 protected:
  RequestDetails map(RequestMessage& message) {
    message_ = message.build();
    return mapping_.map(message_, 1.5);
  }

  std::string failure(RequestMessage& message) {
    try {
      map(message);
    } catch (const std::runtime_error& failed) {
      return failed.what();
    }
    return "mapped";
  }

  static std::string header(const RequestDetails& details, const char* name) {
    const std::string* const value = details.headers.find(name);
    return value == nullptr ? "absent" : *value;
  }

  test_support::FakeHost host_;
  connectivity10_15_0::Logger log_{"category"};
  ThreadLogger logger_{log_, 3};
  MessageKeys keys_;
  Settings settings_;
  RequestMapping mapping_{keys_, settings_, logger_};
  Message message_;
};

TEST_F(RequestMappingTest, ReadsTheWholeRecord) {
  RequestMessage message("PUT", "/p?a=b", "the body");
  message.http("queryString", data_t(textMap({{"q", "1"}, {"b", "2"}})))
      .http("cookies", data_t(textMap({{"sid", "x"}})))
      .http("form", data_t(textMap({{"field", "y"}})))
      .header("X-Name", data_t("value"));

  RequestDetails details = map(message);

  EXPECT_STREQ(get<const char*>(details.method), "PUT");
  EXPECT_STREQ(get<const char*>(details.path), "/p?a=b");
  EXPECT_EQ(get<std::int64_t>(details.requestId), 7);
  EXPECT_EQ(get<buffer_t>(details.payload).view(), "the body");
  EXPECT_EQ(header(details, "x-name"), "value");
  EXPECT_EQ(details.queryParameters.begin()->first, "b");
  EXPECT_EQ(*details.queryParameters.find("q"), "1");
  EXPECT_EQ(*details.cookies.find("sid"), "x");
  EXPECT_EQ(textAt(get<map_t>(details.form), "field"), "y");
  EXPECT_EQ(details.startTime, 1.5);
  EXPECT_FALSE(details.answered);
}

TEST_F(RequestMappingTest, RefusesAMessageThatLacksSomething) {
  EXPECT_EQ(failure(RequestMessage().without("requestId")), "No request Id");
  EXPECT_EQ(failure(RequestMessage().without("method")), "No method");
  EXPECT_EQ(failure(RequestMessage().without("path")), "No path");
  EXPECT_EQ(failure(RequestMessage().http("method", data_t(1))), "http.method must be a string");
  EXPECT_EQ(failure(RequestMessage().http("path", data_t(true))), "http.path must be a string");
}

TEST_F(RequestMappingTest, MissesTheMethodWhenHttpIsAbsent) {
  EXPECT_EQ(failure(RequestMessage().without("http")), "No method");
}

TEST_F(RequestMappingTest, MissesTheRequestIdFirst) {
  EXPECT_EQ(failure(RequestMessage().without("http").without("requestId")), "No request Id");
}

TEST_F(RequestMappingTest, RefusesMapsOfAnotherKind) {
  const std::string text = "Incorrect type in get (you asked for map but it's actually string)";

  EXPECT_EQ(failure(RequestMessage().http("headers", data_t("x"))), text);
  EXPECT_EQ(failure(RequestMessage().http("queryString", data_t("x"))), text);
  EXPECT_EQ(failure(RequestMessage().http("cookies", data_t("x"))), text);
  EXPECT_EQ(failure(RequestMessage().without("http").metadata("http", data_t("x"))), text);
}

TEST_F(RequestMappingTest, RefusesAnotherKindOfHttpBeforeItReadsTheRequestId) {
  const std::string text = "Incorrect type in get (you asked for map but it's actually string)";

  EXPECT_EQ(failure(RequestMessage().without("http").metadata("http", data_t("x"))), text);
  EXPECT_TRUE(mapping_.takeRequestId().isEmpty());
}

TEST_F(RequestMappingTest, RefusesPayloadsThatAreNeitherBufferNorForm) {
  const std::string text =
      "HTTPClient payloads must be binary buffers or dictionary having string key and either "
      "string or binary value (did you mean to use the StringCodec to encode a string to a "
      "buffer?)";
  map_t badValue;
  badValue.insert(data_t("key"), data_t(1));
  map_t badKey;
  badKey.insert(data_t(1), data_t("value"));

  EXPECT_EQ(failure(RequestMessage().payload(data_t())), text);
  EXPECT_EQ(failure(RequestMessage().payload(data_t("text"))), text);
  EXPECT_EQ(failure(RequestMessage().payload(data_t(std::move(badValue)))), text);
  EXPECT_EQ(failure(RequestMessage().payload(data_t(std::move(badKey)))), text);
  EXPECT_EQ(failure(RequestMessage().payload(data_t(textMap({{"a", "b"}})))), "mapped");
}

TEST_F(RequestMappingTest, KeepsTheRequestIdOfARefusedMessage) {
  failure(RequestMessage().without("path"));
  EXPECT_EQ(get<std::int64_t>(mapping_.takeRequestId()), 7);

  failure(RequestMessage().payload(data_t()));
  EXPECT_EQ(get<std::int64_t>(mapping_.takeRequestId()), 7);

  failure(RequestMessage().without("requestId"));
  EXPECT_TRUE(mapping_.takeRequestId().isEmpty());
}

TEST_F(RequestMappingTest, LowersNamesAndRemovesLineBreaks) {
  RequestMessage message;
  message.header("X-A\r\nB", data_t("a\r\nb\n"));

  EXPECT_EQ(header(map(message), "x-ab"), "ab");
}

TEST_F(RequestMappingTest, TakesTextNumbersAndFlagsForHeaders) {
  RequestMessage message;
  message.header("number", data_t(12)).header("fraction", data_t(0.5)).header("flag", data_t(true));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "number"), "12");
  EXPECT_EQ(header(details, "fraction"), "0.5");
  EXPECT_EQ(header(details, "flag"), "true");
}

TEST_F(RequestMappingTest, RefusesHeaderValuesWithoutText) {
  EXPECT_EQ(failure(RequestMessage().header("a", data_t(map_t()))),
            "Incorrect type in get (you asked for string but it's actually map)");
  EXPECT_EQ(failure(RequestMessage().header("a", data_t())), "Get from empty");
}

TEST_F(RequestMappingTest, RefusesHeaderNamesThatWouldBeReadAsSomethingElse) {
  EXPECT_EQ(failure(RequestMessage().header("", data_t("x"))), "Invalid HTTP header name: \"\"");
  for (const char* name : {"a:", "content-length ", "\t", "x\x7F"}) {
    EXPECT_EQ(failure(RequestMessage().header(name, data_t("x"))),
              std::string("Invalid HTTP header name: \"") + name + "\"");
  }
}

TEST_F(RequestMappingTest, QuotesNothingThatFollowsTheNameOfAHeader) {
  EXPECT_EQ(failure(RequestMessage().header("Authorization: Basic c2VjcmV0", data_t("x"))),
            "Invalid HTTP header name: \"Authorization:\"");
}

TEST_F(RequestMappingTest, NormalisesTheContentEncoding) {
  EXPECT_EQ(
      header(map(RequestMessage().header("Content-Encoding", data_t("  \t"))), "content-encoding"),
      "identity");
  EXPECT_EQ(header(map(RequestMessage().header("content-encoding", data_t(" GZip "))),
                   "content-encoding"),
            "GZip");
}

TEST_F(RequestMappingTest, DropsBothSpellingsOfADoubledHeader) {
  RequestMessage message;
  message.header("Content-Type", data_t("a/b")).header("content-type", data_t("c/d"));
  message.metadata("contentType", data_t("e/f"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "content-type"), "e/f");
  const auto lines = host_.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].level, 3);
  EXPECT_EQ(lines[0].format,
            "<%s> {%I64u} Ignoring HTTP header %s because it was set multiple times (headers are "
            "case-insensitive)");
  EXPECT_EQ(lines[0].text,
            "<category> {3} Ignoring HTTP header content-type because it was set multiple times "
            "(headers are case-insensitive)");
}

TEST_F(RequestMappingTest, ReportsEachExtraSpellingOfAHeader) {
  RequestMessage message;
  message.header("A", data_t("1")).header("a", data_t("2"));
  message.header("Via", data_t("1")).header("VIA", data_t("2")).header("via", data_t("3"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "a"), "absent");
  EXPECT_EQ(header(details, "via"), "absent");
  EXPECT_EQ(host_.lines().size(), 3u);
}

TEST_F(RequestMappingTest, DerivesHeadersFromTypeAndCharset) {
  RequestMessage message;
  message.metadata("contentType", data_t("Text/HTML")).metadata("charset", data_t("UTF8"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "accept"), "text/html");
  EXPECT_EQ(header(details, "accept-charset"), "utf-8");
  EXPECT_EQ(header(details, "content-type"), "text/html;charset=utf-8");
}

TEST_F(RequestMappingTest, GivesOnlyTextTypesACharset) {
  RequestMessage message;
  message.metadata("contentType", data_t("application/json"))
      .metadata("charset", data_t("ISO-8859-1"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "accept-charset"), "iso-8859-1");
  EXPECT_EQ(header(details, "content-type"), "application/json");
}

TEST_F(RequestMappingTest, IgnoresACharsetWithoutAType) {
  RequestMessage message;
  message.metadata("charset", data_t("utf-8"));

  EXPECT_THAT(map(message).headers, IsEmpty());
}

TEST_F(RequestMappingTest, PrefersTheMessagesOwnHeaders) {
  RequestMessage message;
  message.metadata("contentType", data_t("a/b")).header("Accept", data_t("c/d"));

  EXPECT_EQ(header(map(message), "accept"), "c/d");
}

TEST_F(RequestMappingTest, NamesNoContentTypeForAnEmptyBody) {
  RequestMessage message("GET", "/", "");
  message.metadata("contentType", data_t("a/b"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "accept"), "a/b");
  EXPECT_EQ(header(details, "content-type"), "absent");
  EXPECT_EQ(header(map(RequestMessage()
                           .payload(data_t(textMap({{"k", "v"}})))
                           .metadata("contentType", data_t("a/b"))),
                   "content-type"),
            "a/b");
}

TEST_F(RequestMappingTest, LetsNoLineBreakIntoDerivedHeaders) {
  RequestMessage message;
  message.metadata("contentType", data_t("text/a\r\nX: y")).metadata("charset", data_t("u\r\nv"));

  const RequestDetails details = map(message);

  EXPECT_EQ(header(details, "accept"), "text/ax: y");
  EXPECT_EQ(header(details, "accept-charset"), "uv");
}

TEST_F(RequestMappingTest, PutsTheBasePathInFrontAsItIs) {
  settings_.basePath = "/api";
  RequestMessage message("GET", "w/x");

  EXPECT_STREQ(get<const char*>(map(message).path), "/apiw/x");
}

TEST_F(RequestMappingTest, CopiesTextThatTheMessageOnlyBorrows) {
  std::string text = "borrowed";
  kel_data borrowed{};
  borrowed.tag = KEL_TAG_BORROWED_STRING;
  borrowed.payload.string = text.data();
  RequestMessage message;
  message.metadata("requestId", data_t::adopt(borrowed));

  const RequestDetails details = map(message);

  EXPECT_EQ(details.requestId.tag(), KEL_TAG_STRING);
  EXPECT_STREQ(get<const char*>(details.requestId), "borrowed");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
