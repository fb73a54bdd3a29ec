// Which sizes of an exchange reach the metrics, and when.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "http/exchange_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

constexpr char kAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello";

class ExchangeSizesTest : public ExchangeFixture {
 protected:
  /// Averages and maximum of the request sizes, in a line.
  std::string requestSizes() const {
    std::string line;
    for (const char* suffix : {".requestSizeEWMAShortBytes", ".requestSizeEWMALongBytes",
                               ".requestSizeMaxInLastHourBytes"}) {
      line += (line.empty() ? "" : " ") +
              host_.statusValue(std::string("chain.plugin") + suffix).value_or("no such item");
    }
    return line;
  }
};

TEST_F(ExchangeSizesTest, RequestIsAsLongAsItsBody) {
  ScriptedServer server(ScriptedServer::answeringAll(kAnswer));
  connectTo(server.port());

  perform(RequestMessage("POST", "/", "0123456789"));
  EXPECT_EQ(requestSizes(), "10 10 10");

  perform(RequestMessage("GET", "/", ""));
  EXPECT_EQ(requestSizes(), "5 9 10");
}

TEST_F(ExchangeSizesTest, BodyThatIsNotSentHasNoSize) {
  ScriptedServer server(ScriptedServer::answeringAll("HTTP/1.1 204 No Content\r\n\r\n"));
  connectTo(server.port());

  perform(RequestMessage("DELETE", "/", "0123456789"));

  EXPECT_EQ(requestSizes(), "0 0 0");
}

TEST_F(ExchangeSizesTest, RequestCountsOnceItsResponseHasBegun) {
  ScriptedServer server([this](Connection& connection) {
    connection.readRequest();
    EXPECT_EQ(requestSizes(), "0 0 0");
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n");
    host_.waitForStatus("chain.plugin.requestSizeMaxInLastHourBytes", "10");
    connection.send("hello");
    connection.waitUntilClosed();
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "0123456789"))), 200);
  exchange_->close();
}

TEST_F(ExchangeSizesTest, RetriedRequestCountsOnce) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.send(kAnswer);
    if (connection.index() == 0) {
      connection.readRequest();  // and closes without an answer
    } else {
      connection.waitUntilClosed();
    }
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", std::string(20, 'x')))), 200);
  EXPECT_EQ(status(perform(RequestMessage("POST", "/", std::string(10, 'x')))), 200);

  EXPECT_EQ(server.requests().size(), 3u);
  EXPECT_EQ(requestSizes(), "15 19 20");
}

TEST_F(ExchangeSizesTest, RequestWithoutAResponseDoesNotCount) {
  ScriptedServer server([](Connection& connection) { connection.readRequest(); });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "0123456789"))), 400);

  EXPECT_EQ(requestSizes(), "0 0 0");
}

TEST_F(ExchangeSizesTest, RequestWhoseResponseIsCutShortCounts) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", "0123456789"))), 400);

  EXPECT_EQ(requestSizes(), "10 10 10");
  EXPECT_EQ(port_.bodySizes.back(), std::nullopt);
}

TEST_F(ExchangeSizesTest, RequestThatIsAnsweredTooEarlyDoesNotCount) {
  const std::string large(16 * 1024 * 1024, 'x');
  ScriptedServer server([](Connection& connection) {
    if (!connection.readHead()) return;
    connection.send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
  });
  connectTo(server.port());

  EXPECT_EQ(status(perform(RequestMessage("POST", "/", large))), 413);

  EXPECT_EQ(requestSizes(), "0 0 0");
  EXPECT_EQ(port_.bodySizes.back(), 3u);
}

TEST_F(ExchangeSizesTest, ResponseIsAsLongAsWhatIsDelivered) {
  const std::string packed(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\xff\xab\xa8\x18\x05\xa3\x60"
      "\x14\x0c\x77\x00\x00\xe6\xc9\x41\x3b\xe8\x03\x00\x00",
      29);
  ScriptedServer server(
      ScriptedServer::answeringAll("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                                   std::to_string(packed.size()) + "\r\n\r\n" + packed));
  connectTo(server.port());

  Message& answer = perform(RequestMessage());

  EXPECT_EQ(body(answer), std::string(1000, 'x'));
  EXPECT_EQ(port_.bodySizes.back(), 1000u);
}

TEST_F(ExchangeSizesTest, EmptyResponseHasASizeOfZero) {
  ScriptedServer server(ScriptedServer::answeringAll("HTTP/1.1 204 No Content\r\n\r\n"));
  connectTo(server.port());

  perform(RequestMessage());

  EXPECT_EQ(port_.bodySizes.back(), 0u);
}

TEST_F(ExchangeSizesTest, RefusedMessageHasNoSizes) {
  ScriptedServer server(ScriptedServer::answeringAll(kAnswer));
  connectTo(server.port());

  perform(RequestMessage().without("path"));
  EXPECT_EQ(port_.bodySizes.back(), std::nullopt);

  perform(RequestMessage().header("content-encoding", data_t("GZIP")));
  EXPECT_EQ(port_.bodySizes.back(), std::nullopt);

  EXPECT_EQ(requestSizes(), "0 0 0");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
