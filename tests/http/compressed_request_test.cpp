// Compressed request bodies as a server sees them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "http/decompressed.h"
#include "http/exchange_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::HttpRequest;
using test_support::ScriptedServer;
using testing::Contains;
using testing::ElementsAre;

class CompressedRequestTest : public ExchangeFixture {
 protected:
  static RequestMessage coded(const char* coding, const char* method = "POST",
                              const std::string& body = "body") {
    RequestMessage message(method, "/", body);
    message.header("Content-Encoding", data_t(coding));
    return message;
  }
};

TEST_F(CompressedRequestTest, SendsTheGzipFormatForGzip) {
  const HttpRequest request = sent(coded("gzip"));

  EXPECT_EQ(request.value("content-encoding"), "gzip");
  EXPECT_EQ(request.value("content-length"), std::to_string(request.body.size()));
  EXPECT_EQ(decompressed(request.body, kGzipWindow), "body");
}

TEST_F(CompressedRequestTest, SendsTheZlibFormatForDeflate) {
  const HttpRequest request = sent(coded("deflate"));

  EXPECT_EQ(request.value("content-encoding"), "deflate");
  EXPECT_EQ(decompressed(request.body, kZlibWindow), "body");
}

TEST_F(CompressedRequestTest, ReadsTheNameOfTheCodingWithoutItsBlanks) {
  EXPECT_EQ(decompressed(sent(coded(" g zip\t")).body, kGzipWindow), "body");
}

TEST_F(CompressedRequestTest, SendsIdentityAsItIs) {
  for (const char* coding : {"identity", ""}) {
    const HttpRequest request = sent(coded(coding));

    EXPECT_EQ(request.value("content-encoding"), "identity");
    EXPECT_EQ(request.body, "body");
  }
}

TEST_F(CompressedRequestTest, CompressesAnEmptyBodyToo) {
  const HttpRequest request = sent(coded("gzip", "POST", ""));

  EXPECT_EQ(decompressed(request.body, kGzipWindow), "");
  EXPECT_EQ(request.value("content-length"), "20");
}

TEST_F(CompressedRequestTest, CompressesTheBodyOfAnyMethodThatHasOne) {
  for (const char* method : {"GET", "PUT", "PATCH"}) {
    EXPECT_EQ(decompressed(sent(coded("gzip", method)).body, kGzipWindow), "body");
  }
}

TEST_F(CompressedRequestTest, SendsNothingForAMethodWithoutABodyAndWarns) {
  for (const char* method : {"HEAD", "DELETE", "TRACE"}) {
    for (const char* body : {"body", ""}) {
      host_.clearLines();
      const HttpRequest request = sent(coded("gzip", method, body), 6);

      EXPECT_EQ(request.body, "");
      EXPECT_FALSE(request.has("content-length"));
      EXPECT_THAT(host_.textsAt(3),
                  ElementsAre(std::string("<category> {0} Ignoring specified payload for ") +
                              method + " request method"));
      EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: <no payload>"));
    }
  }
}

TEST_F(CompressedRequestTest, IsSentInChunksWhenTheMessageAsksForIt) {
  const HttpRequest request = sent(coded("gzip").header("transfer-encoding", data_t("chunked")));

  EXPECT_FALSE(request.has("content-length"));
  EXPECT_EQ(request.value("transfer-encoding"), "chunked");
  EXPECT_EQ(decompressed(request.body, kGzipWindow), "body");
}

TEST_F(CompressedRequestTest, DumpsTheBodyAsItWasGiven) {
  sent(coded("gzip", "POST", "\x01"), 6);

  EXPECT_THAT(host_.textsAt(6), Contains("<category> {0}    request payload: [0x01]"));
}

TEST_F(CompressedRequestTest, RefusesEveryOtherCoding) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  for (const char* coding : {"GZip", "br", "gzip,deflate", "x-gzip", "empty"}) {
    host_.clearLines();
    Message& answer = perform(coded(coding));

    EXPECT_EQ(status(answer), 400);
    EXPECT_EQ(reason(answer), "Unsupported Content-Encoding, dropping HTTP request.");
    EXPECT_EQ(host_.textsAt(2),
              std::vector<std::string>{
                  "<category> {0} Unsupported Content-Encoding, dropping HTTP request."});
  }
  EXPECT_EQ(overallStatus(), "STARTING");
  EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(CompressedRequestTest, ClosesTheConnectionWhenACodingIsRefused) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  connectTo(server.port());

  perform(RequestMessage());
  perform(coded("GZip"));
  perform(RequestMessage());

  EXPECT_EQ(server.connectionCount(), 2u);
  EXPECT_EQ(server.waitForRequests(2).size(), 2u);
}

TEST_F(CompressedRequestTest, SendsTheWholeBodyAgainWhenTheConnectionWasDropped) {
  ScriptedServer server(droppingTheFirstRequest());
  connectTo(server.port());

  EXPECT_EQ(status(perform(coded("gzip"))), 200);

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].raw, requests[1].raw);
  EXPECT_EQ(decompressed(requests[1].body, kGzipWindow), "body");
}

TEST_F(CompressedRequestTest, CarriesLargeBodies) {
  const std::string large(20 * 1024 * 1024, 'x');

  const HttpRequest request = sent(coded("gzip", "POST", large));

  EXPECT_LT(request.body.size(), large.size() / 100);
  EXPECT_TRUE(decompressed(request.body, kGzipWindow) == large);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
