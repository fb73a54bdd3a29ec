// The peer falls silent. The time-out is a second; nothing is asserted about how long it takes.
#include <gmock/gmock.h>

#include <future>
#include <string>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::ElementsAre;

constexpr char kStalledServerTunnelOpened[] = "HTTP/1.1 200 Connection established\r\n\r\n";

class StalledServerTest : public FaultTest {
 protected:
  StalledServerTest() { configure("timeoutSecs", data_t(1)); }
};

const std::vector<Fault> kStalledServerFaults = {
    {"BeforeTheAnswer", {{"", Then::Stall}}, failed("Timeout")},
    {"InTheHead", {{"HTTP/1.1 200 OK\r\nX:", Then::Stall}}, failed("Timeout")},
    {"AfterAnInterimAnswer", {{"HTTP/1.1 100 Continue\r\n\r\n", Then::Stall}}, failed("Timeout")},
    {"InTheBody",
     {{"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", Then::Stall}},
     failed("Timeout")},
};

TEST_P(StalledServerTest, FailsWithoutRetry) { meetsIt(); }

INSTANTIATE_TEST_SUITE_P(Faults, StalledServerTest, overBothWires(kStalledServerFaults),
                         FaultTest::nameOf);

// ---- Silence where no request has been read yet

class StalledPeerTest : public FaultFixture {
 protected:
  StalledPeerTest() { configure("timeoutSecs", data_t(1)); }

  /// One request that fails with "Timeout", once.
  void timesOut(const ScriptedServer& server) {
    create(server.port());

    const Answer answer = perform(RequestMessage("GET", "/", ""));

    EXPECT_EQ(answer.status, 400);
    EXPECT_EQ(answer.reason, "Timeout");
    EXPECT_THAT(lines(), ElementsAre("WARN Caught exception processing a request: Timeout"));
    EXPECT_EQ(overallStatus(), "FAILED");
    EXPECT_EQ(server.connectionCount(), 1u);
    end();
  }
};

TEST_F(StalledPeerTest, FailsWhenTheTlsHandshakeIsNotAnswered) {
  useWire(Wire::Tls);

  timesOut(ScriptedServer([](Connection& connection) { connection.waitUntilClosed(); }));
}

TEST_F(StalledPeerTest, FailsWhenTheProxyDoesNotSayWhetherItOpensATunnel) {
  useWire(Wire::OverTunnel);

  timesOut(ScriptedServer([](Connection& connection) { connection.waitUntilClosed(); }));
}

TEST_F(StalledPeerTest, FailsWhenTheTlsHandshakeInATunnelIsNotAnswered) {
  useWire(Wire::OverTunnel);

  timesOut(ScriptedServer([](Connection& connection) {
    connection.readRequest();
    connection.send(kStalledServerTunnelOpened);
    connection.waitUntilClosed();
  }));
}

// ---- An upload that is not taken

class UntakenUploadTest : public WireTest {
 protected:
  UntakenUploadTest() { configure("timeoutSecs", data_t(1)); }
};

TEST_P(UntakenUploadTest, IsRetriedOnce) {
  // More than the system buffers between the two.
  const std::string large(16 * 1024 * 1024, 'x');
  std::promise<void> answered;
  const std::shared_future<void> whenAnswered = answered.get_future();
  const auto server = serverOver<ScriptedServer>(GetParam(), [&](Connection& connection) {
    while (connection.readHead()) {
      if (connection.index() < 2) return whenAnswered.wait();
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    }
  });
  create(server->port());

  const Answer answer = perform(RequestMessage("POST", "/", large));
  const Outcome expected = failedTwice("Poco::IOException", "I/O error", "Operation would block");
  answered.set_value();
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), expected.lines);
  EXPECT_EQ(server->connectionCount(), 2u);

  EXPECT_EQ(perform(RequestMessage("GET", "/", "")).payload, "ok");
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, UntakenUploadTest,
                         testing::Values(Wire::Plain, Wire::Tls, Wire::OverTunnel),
                         WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
