// The server answers before it has taken the whole request.
#include <gmock/gmock.h>

#include "faults/fault_test.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::AnyOf;
using testing::IsEmpty;

constexpr char kTooLarge[] = "HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig";
constexpr char kEarlyAnswerOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

class EarlyAnswerTest : public WireTest {
 protected:
  // More than the system buffers between the two: the server reads no byte of it.
  const std::string large_ = std::string(16 * 1024 * 1024, 'x');
};

TEST_P(EarlyAnswerTest, CountsAlthoughTheRestOfTheBodyIsNotTaken) {
  const auto script = [](Connection& connection) {
    const auto request = connection.readHead();
    if (!request) return;
    if (request->method == "POST") {
      connection.send(kTooLarge);
      return;
    }
    connection.send(kEarlyAnswerOk);
    connection.waitUntilClosed();
  };
  const auto server = serverOver<ScriptedServer>(GetParam(), script);
  create(server->port());

  const Answer answer = perform(RequestMessage("POST", "/", large_));
  EXPECT_EQ(answer.status, 413);
  EXPECT_EQ(answer.reason, "Too Large");
  EXPECT_EQ(answer.payload, "big");
  EXPECT_EQ(overallStatus(), "ONLINE");
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(server->connectionCount(), 1u);

  EXPECT_EQ(perform(RequestMessage("GET", "/", "")).payload, "ok");
  EXPECT_EQ(server->connectionCount(), 2u);
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, EarlyAnswerTest, overAllWires(), WireTest::nameOf);

using EarlyGarbageTest = FaultFixture;

TEST_F(EarlyGarbageTest, IsNoAnswerAndTheFailureOfTheSendIsTold) {
  ScriptedServer server([](Connection& connection) {
    if (connection.readHead()) connection.send("garbage\r\n\r\n");
  });
  create(server.port());

  const Answer answer = perform(RequestMessage("POST", "/", std::string(16 * 1024 * 1024, 'x')));

  EXPECT_EQ(answer.status, 400);
  // Which of the two depends on whether the system is sending when the connection ends.
  EXPECT_THAT(answer.reason, AnyOf("Connection reset by peer", "I/O error: Broken pipe"));
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(server.connectionCount(), 2u);
  end();
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
