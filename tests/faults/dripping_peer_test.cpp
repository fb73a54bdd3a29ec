// The peer drips: it sends so little at a time that it is never silent. The time-out is an hour of
// a clock that the peer moves; a wait without a bound would not end.
#include <gmock/gmock.h>

#include <string>
#include <string_view>

#include "faults/fault_test.h"
#include "runtime/condition.h"
#include "runtime/manual_clock.h"
#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::ElementsAre;

constexpr char kDrippingPeerTunnelOpened[] = "HTTP/1.1 200 Connection established\r\n\r\n";
constexpr std::int64_t kTimeoutSecs = 3600;

class DrippingPeerTest : public WireTest {
 protected:
  DrippingPeerTest() { configure("timeoutSecs", data_t(kTimeoutSecs)); }

  /// Sends the bytes one by one, and the last `again` of them over and over, until the peer gives
  /// up; a tenth of its time-out passes each time.
  void drip(Connection& connection, std::string_view bytes, std::size_t again = 1) {
    for (std::size_t i = 0; connection.trySend(bytes.substr(i, 1));) {
      letTimePass(kTimeoutSecs * 100);
      i = i + 1 < bytes.size() ? i + 1 : bytes.size() - again;
    }
  }

  /// Sends the bytes one by one; nearly the time-out passes behind each.
  void dripAll(Connection& connection, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      connection.send(bytes.substr(i, 1));
      letTimePass(kTimeoutSecs * 900);
    }
  }

  void expectTimeout(std::uint16_t port) {
    create(port);
    const Answer answer = perform(RequestMessage("GET", "/", ""));
    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.reason, "Timeout");
    EXPECT_THAT(lines(), ElementsAre("WARN Caught exception processing a request: Timeout"));
    EXPECT_EQ(overallStatus(), "FAILED");
    end();
  }

  void expectAnswer(std::uint16_t port, const std::string& payload) {
    create(port);
    const Answer answer = perform(RequestMessage("GET", "/", ""));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.payload, payload);
    EXPECT_THAT(lines(), testing::IsEmpty());
    end();
  }

 private:
  // The pause lets the plugin read faster than it is sent to, so that it comes to wait.
  void letTimePass(std::int64_t ms) {
    clock_.advanceMs(ms);
    orvex::AutoMutex lock(mutex_);
    pause_.timedwaitRelative(2);
  }

  orvex::ManualClockForTest clock_;
  orvex::Mutex mutex_{"Drip"};
  orvex::Condition pause_{mutex_};  // nobody signals it
};

TEST_P(DrippingPeerTest, FailsWhenTheHeadDoesNotEnd) {
  for (const std::string head : {"HTTP/1.1 200 OK", "HTTP/1.1 200 OK\r\nX: y"}) {
    const auto server = serverOver<ScriptedServer>(GetParam(), [&](Connection& connection) {
      if (connection.readRequest()) drip(connection, head);
    });
    expectTimeout(server->port());
    EXPECT_EQ(server->connectionCount(), 1u);
  }
}

TEST_P(DrippingPeerTest, FailsWhenInterimAnswersDoNotEnd) {
  const std::string interim = "HTTP/1.1 102 Processing\r\n\r\n";
  const auto server = serverOver<ScriptedServer>(GetParam(), [&](Connection& connection) {
    if (connection.readRequest()) drip(connection, interim, interim.size());
  });
  expectTimeout(server->port());
}

TEST_P(DrippingPeerTest, TakesABodyThatComesToItsEnd) {
  const auto server = serverOver<ScriptedServer>(GetParam(), [&](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n");
    dripAll(connection, "drop by dr");
    connection.waitUntilClosed();
  });
  expectAnswer(server->port(), "drop by dr");
}

// The lines between the chunks, and those behind the last one, are a part of the body.
TEST_P(DrippingPeerTest, TakesAChunkedBodyThatComesToItsEnd) {
  const auto server = serverOver<ScriptedServer>(GetParam(), [&](Connection& connection) {
    if (!connection.readRequest()) return;
    connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    dripAll(connection, "2;x=y\r\nok\r\n0\r\nX: y\r\n\r\n");
    connection.waitUntilClosed();
  });
  expectAnswer(server->port(), "ok");
}

INSTANTIATE_TEST_SUITE_P(Faults, DrippingPeerTest, overAllWires(), WireTest::nameOf);

// Steps that only one of the wires has.
using DrippingStepTest = DrippingPeerTest;

// The length of a record and of the greeting in it, and the beginning of that: all zeros.
const std::string kEndlessGreeting =
    std::string("\x16\x03\x03\x40\x00\x02\x00\x3f\xfc\x03\x03", 11) + std::string(1, '\0');

TEST_P(DrippingStepTest, FailsWhenTheTlsHandshakeDoesNotEnd) {
  useWire(GetParam());
  const ScriptedServer server([&](Connection& connection) {
    if (hasProxy(GetParam())) {
      connection.readRequest();
      connection.send(kDrippingPeerTunnelOpened);
    }
    connection.readSome();
    drip(connection, kEndlessGreeting);
  });
  expectTimeout(server.port());
  EXPECT_EQ(server.connectionCount(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Faults, DrippingStepTest, testing::Values(Wire::Tls, Wire::OverTunnel),
                         WireTest::nameOf);

using DrippingProxyTest = DrippingPeerTest;

TEST_P(DrippingProxyTest, FailsWhenTheAnswerToConnectDoesNotEnd) {
  useWire(GetParam());
  const ScriptedServer proxy([&](Connection& connection) {
    if (connection.readRequest()) drip(connection, "HTTP/1.1 200 OK\r\nX: y");
  });
  expectTimeout(proxy.port());
  EXPECT_EQ(proxy.connectionCount(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Faults, DrippingProxyTest, testing::Values(Wire::OverTunnel),
                         WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
