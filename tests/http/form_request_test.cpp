// Forms as a server sees them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "http/decompressed.h"
#include "http/exchange_fixture.h"
#include "http/form_messages.h"
#include "support/multipart_reader.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::HttpRequest;
using test_support::MultipartPart;
using test_support::ScriptedServer;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUrlEncoded[] = "application/x-www-form-urlencoded";

class FormRequestTest : public ExchangeFixture {
 protected:
  static RequestMessage urlEncoded(const char* method = "POST", const char* path = "/path") {
    RequestMessage message(method, path);
    message.payload(data_t(textMap({{"a b", "1&2"}})));
    return message;
  }

  /// One plain field and one file.
  static RequestMessage multipart(const char* method = "POST") {
    map_t fields = textMap({{"a", "1"}});
    fields.insert(data_t("f"), bufferValue(std::string("\0\xFF", 2)));
    RequestMessage message(method);
    message.payload(data_t(std::move(fields)))
        .header("Content-Type", data_t("multipart/form-data"))
        .http("form", data_t(formOf("f", {{"filename", "n.txt"},
                                          {"contentType", "text/plain"},
                                          {"charset", "utf-8"}})));
    return message;
  }

  /// What stands before and behind the boundary in the body of `multipart`.
  static std::string multipartBody(const std::string& boundary) {
    return "--" + boundary +
           "\r\n"
           "Content-Disposition: form-data; name=\"a\"\r\n"
           "\r\n"
           "1\r\n"
           "--" +
           boundary +
           "\r\n"
           "Content-Disposition: form-data; name=\"f\"; filename=\"n.txt\"\r\n"
           "Content-Type: text/plain; charset=utf-8\r\n"
           "\r\n" +
           std::string("\0\xFF", 2) +
           "\r\n"
           "--" +
           boundary + "--\r\n";
  }

  std::string hostLine() const { return "Host: 127.0.0.1:" + std::to_string(settings_.port); }
};

TEST_F(FormRequestTest, SendsExactlyTheseBytesForAUrlEncodedForm) {
  const HttpRequest request = sent(urlEncoded());

  EXPECT_EQ(request.raw,
            "POST /path HTTP/1.1\r\n"
            "Content-Type: application/x-www-form-urlencoded\r\n"
            "accept-charset: utf-8\r\n"
            "accept-encoding: identity, gzip, deflate\r\n"
            "user-agent: Orvex/10.15 (amd64-win)\r\n"
            "Content-Length: 11\r\n" +
                hostLine() +
                "\r\n"
                "\r\n"
                "a%20b=1%262");
}

TEST_F(FormRequestTest, SendsExactlyTheseBytesForAMultipartForm) {
  const HttpRequest request = sent(multipart());

  const std::string boundary = test_support::boundaryOf(request.value("content-type"));
  const std::string body = multipartBody(boundary);
  EXPECT_EQ(request.raw,
            "POST /path HTTP/1.1\r\n"
            "Content-Type: multipart/form-data; boundary=\"" +
                boundary +
                "\"\r\n"
                "accept-charset: utf-8\r\n"
                "accept-encoding: identity, gzip, deflate\r\n"
                "user-agent: Orvex/10.15 (amd64-win)\r\n"
                "Content-Length: " +
                std::to_string(body.size()) + "\r\n" + hostLine() +
                "\r\n"
                "\r\n" +
                body);
}

TEST_F(FormRequestTest, IsMultipartByTheMessagesContentTypeAsWell) {
  RequestMessage message;
  message.payload(data_t(textMap({{"a", "1"}})))
      .metadata("contentType", data_t("Multipart/Form-Data"));

  const HttpRequest request = sent(message);

  EXPECT_THAT(test_support::readMultipart(request.value("content-type"), request.body),
              ElementsAre(MultipartPart{"a", {}, {}, "1"}));
}

TEST_F(FormRequestTest, EncodesForAUrlWhateverElseTheContentTypeSays) {
  for (const char* type : {"multipart/form-data; boundary=x", "text/plain"}) {
    const HttpRequest request = sent(urlEncoded().header("content-type", data_t(type)));

    EXPECT_EQ(request.value("content-type"), kUrlEncoded);
    EXPECT_EQ(request.body, "a%20b=1%262");
  }
}

TEST_F(FormRequestTest, SendsAnEmptyFormWithALengthOfZero) {
  const HttpRequest request = sent(RequestMessage().payload(data_t(map_t())), 6);

  EXPECT_EQ(request.value("content-length"), "0");
  EXPECT_EQ(request.value("content-type"), kUrlEncoded);
  EXPECT_EQ(request.body, "");
  EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: <no payload>"));
}

TEST_F(FormRequestTest, SendsAnEmptyMultipartForm) {
  const HttpRequest request = sent(RequestMessage()
                                       .payload(data_t(map_t()))
                                       .header("content-type", data_t("multipart/form-data")));

  EXPECT_THAT(test_support::readMultipart(request.value("content-type"), request.body), IsEmpty());
  EXPECT_EQ(request.value("content-length"), std::to_string(request.body.size()));
}

TEST_F(FormRequestTest, IsSentInChunksWhenTheMessageAsksForIt) {
  const HttpRequest url = sent(urlEncoded().header("transfer-encoding", data_t("chunked")));
  EXPECT_EQ(url.value("transfer-encoding"), "chunked");
  EXPECT_FALSE(url.has("content-length"));
  EXPECT_EQ(url.body, "a%20b=1%262");

  const HttpRequest parts = sent(multipart().header("transfer-encoding", data_t("chunked")));
  EXPECT_FALSE(parts.has("content-length"));
  EXPECT_EQ(parts.body, multipartBody(test_support::boundaryOf(parts.value("content-type"))));
}

TEST_F(FormRequestTest, KeepsItsLengthWhateverTheMessageSays) {
  EXPECT_EQ(sent(urlEncoded().header("content-length", data_t("5"))).value("content-length"), "11");
}

TEST_F(FormRequestTest, IsNotSentWithAMethodWithoutABody) {
  for (const char* method : {"HEAD", "DELETE", "TRACE"}) {
    for (const bool isMultipart : {false, true}) {
      RequestMessage message = isMultipart ? multipart(method) : urlEncoded(method);
      host_.clearLines();
      const HttpRequest request = sent(message.header("transfer-encoding", data_t("chunked")), 6);

      EXPECT_EQ(request.target, "/path");
      EXPECT_EQ(request.body, "");
      EXPECT_FALSE(request.has("content-length"));
      EXPECT_FALSE(request.has("transfer-encoding"));
      EXPECT_THAT(host_.textsAt(3),
                  ElementsAre(std::string("<category> {0} Ignoring specified payload for ") +
                              method + " request method"));
      EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: <no payload>"));
    }
  }
}

TEST_F(FormRequestTest, RepeatsUrlEncodedFieldsInTheQueryOfOtherMethods) {
  for (const char* method : {"GET", "PATCH", "OPTIONS", "OWN"}) {
    const HttpRequest request = sent(urlEncoded(method, "/path?x=y"));

    EXPECT_EQ(request.target, "/path?x=y&a%20b=1%262");
    EXPECT_EQ(request.value("content-type"), kUrlEncoded);
    EXPECT_EQ(request.value("content-length"), "11");
    EXPECT_EQ(request.body, "a%20b=1%262");
  }
}

TEST_F(FormRequestTest, SendsMultipartFormsWithOtherMethodsInTheBodyAlone) {
  for (const char* method : {"GET", "PATCH", "PUT"}) {
    const HttpRequest request = sent(multipart(method));

    EXPECT_EQ(request.target, "/path");
    EXPECT_EQ(request.body, multipartBody(test_support::boundaryOf(request.value("content-type"))));
  }
}

TEST_F(FormRequestTest, SendsHostileNamesAsOnePartEach) {
  const char* const name = "f\"\r\nContent-Type: text/html\r\n\r\n<b>";
  const HttpRequest request =
      sent(RequestMessage()
               .payload(data_t(fieldMap(name, bufferValue("x"))))
               .header("content-type", data_t("multipart/form-data"))
               .http("form", data_t(formOf(name, {{"filename", "n\"; name=\"other\r\n\r\n"},
                                                  {"contentType", "a/b\r\n\r\nbody"}}))));

  EXPECT_THAT(test_support::readMultipart(request.value("content-type"), request.body),
              ElementsAre(MultipartPart{"f%22Content-Type: text/html<b>", "n%22; name=%22other",
                                        "a/bbody", "x"}));
}

TEST_F(FormRequestTest, CarriesLargePartsWhole) {
  std::string large(3 * 1024 * 1024 + 17, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 >> 3);
  const HttpRequest request = sent(RequestMessage()
                                       .payload(data_t(fieldMap("f", bufferValue(large))))
                                       .header("content-type", data_t("multipart/form-data")));

  const auto parts = test_support::readMultipart(request.value("content-type"), request.body);
  ASSERT_EQ(parts.size(), 1u);
  EXPECT_TRUE(parts[0].body == large);
}

TEST_F(FormRequestTest, SendsTheWholeFormAgainWhenTheConnectionWasDropped) {
  ScriptedServer server(droppingTheFirstRequest());
  connectTo(server.port());

  EXPECT_EQ(status(perform(multipart())), 200);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  for (const HttpRequest& request : requests) {
    EXPECT_EQ(request.body, multipartBody(test_support::boundaryOf(request.value("content-type"))));
  }
}

TEST_F(FormRequestTest, AddsTheFieldsToTheQueryOnceHoweverOftenItIsSent) {
  ScriptedServer server(droppingTheFirstRequest());
  connectTo(server.port());

  EXPECT_EQ(status(perform(urlEncoded("GET"))), 200);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].raw, requests[1].raw);
  EXPECT_EQ(requests[1].target, "/path?a%20b=1%262");
}

TEST_F(FormRequestTest, IsFollowedByTheNextRequestOnTheSameConnection) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  perform(multipart());
  perform(RequestMessage("POST", "/", "body"));

  EXPECT_EQ(server.connectionCount(), 1u);
  EXPECT_EQ(server.waitForRequests(2)[1].body, "body");
}

TEST_F(FormRequestTest, CompressesAUrlEncodedForm) {
  const HttpRequest request = sent(urlEncoded().header("content-encoding", data_t("gzip")));

  EXPECT_EQ(request.value("content-type"), kUrlEncoded);
  EXPECT_EQ(request.value("content-encoding"), "gzip");
  EXPECT_EQ(request.value("content-length"), std::to_string(request.body.size()));
  EXPECT_EQ(decompressed(request.body, kGzipWindow), "a%20b=1%262");
}

TEST_F(FormRequestTest, CompressesAMultipartForm) {
  const HttpRequest request = sent(multipart().header("content-encoding", data_t("deflate")));

  EXPECT_EQ(decompressed(request.body, kZlibWindow),
            multipartBody(test_support::boundaryOf(request.value("content-type"))));
}

TEST_F(FormRequestTest, IsNotCompressedForAMethodWithoutABody) {
  const HttpRequest request = sent(multipart("DELETE").header("content-encoding", data_t("gzip")));

  EXPECT_EQ(request.body, "");
  EXPECT_FALSE(request.has("content-length"));
  EXPECT_THAT(host_.textsAt(3),
              ElementsAre("<category> {0} Ignoring specified payload for DELETE request method"));
}

TEST_F(FormRequestTest, IsNotSentInACodingThatIsNotKnown) {
  connectTo(1);

  Message& answer = perform(urlEncoded().header("content-encoding", data_t("br")));

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Unsupported Content-Encoding, dropping HTTP request.");
}

TEST_F(FormRequestTest, FailsForMetadataOfAnotherKindBeforeAnythingIsSent) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  Message& answer = perform(multipart().http("form", data_t("text")));

  EXPECT_EQ(status(answer), 400);
  EXPECT_EQ(reason(answer), "Incorrect type in get (you asked for map but it's actually string)");
  EXPECT_EQ(server.connectionCount(), 0u);
  EXPECT_EQ(status(perform(RequestMessage())), 200);
}

TEST_F(FormRequestTest, IsDumpedAtTraceAndNotBelow) {
  sent(urlEncoded(), 6);
  EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: {a b:1&2}"));

  host_.clearLines();
  sent(urlEncoded("GET"), 5);
  EXPECT_THAT(host_.texts(), testing::Each(testing::Not(testing::HasSubstr("1%262"))));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
