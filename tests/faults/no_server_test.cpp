// There is no connection at all, or none that the server wants.
#include <gmock/gmock.h>

#include "faults/fault_test.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::ElementsAre;

class NoServerTest : public FaultFixture {};

TEST_F(NoServerTest, FailsAfterOneRetryWhenEveryConnectionIsRefused) {
  const test_support::RefusingPort refusing;
  create(refusing.port());

  const Answer answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, "Connection refused");
  EXPECT_EQ(answer.payload, "Connection refused");
  EXPECT_EQ(answer.contentType, "text/plain");
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), failedTwice("Poco::IOException", "Connection refused").lines);
}

TEST_F(NoServerTest, FailsWithoutRetryWhenNobodyTakesTheConnection) {
  const test_support::UnansweringPort unanswering;
  configure("timeoutSecs", data_t(1));
  create(unanswering.port());
  const std::string peer = "127.0.0.1:" + std::to_string(unanswering.port());

  const Answer answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, "Timeout: connect timed out: " + peer);
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_THAT(lines(), ElementsAre("WARN Caught exception processing a request: Timeout (connect "
                                   "timed out: " +
                                   peer + ")"));
}

TEST_F(NoServerTest, FailsWhenTheHostHasNoName) {
  configure("host", data_t(""));
  create(80);

  const Answer answer = perform(RequestMessage("GET", "/", ""));

  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, "Host not found");
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), failedTwice("Poco::IOException", "Host not found").lines);
}

class UnwillingServerTest : public WireTest {};

TEST_P(UnwillingServerTest, FailsAfterOneRetryWhenItEndsEveryConnectionAtOnce) {
  const auto script = [](test_support::Connection& connection) {
    connection.finish();
    connection.waitUntilClosed();
  };
  const auto server = serverOver<test_support::ScriptedServer>(GetParam(), script);
  create(server->port());

  const Answer answer = perform(RequestMessage("POST", "/", "body"));

  const Outcome expected = failedTwice("Poco::Net::NoMessageException", "No message received");
  EXPECT_EQ(answer.status, 400);
  EXPECT_EQ(answer.reason, expected.reason);
  EXPECT_EQ(overallStatus(), "FAILED");
  EXPECT_EQ(lines(), expected.lines);
  EXPECT_EQ(server->connectionCount(), 2u);
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, UnwillingServerTest, overAllWires(), WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
