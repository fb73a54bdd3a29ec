// There is no connection at all, or none that the server wants.
#include <gmock/gmock.h>
#include <netdb.h>

#include "faults/fault_test.h"
#include "faults/scripted_resolver.h"
#include "support/loopback.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::FaultServer;
using test_support::ScriptedResolver;
using test_support::ScriptedServer;

/// A server that is there only while the test lets it.
class NoServerTest : public WireTest {
 protected:
  NoServerTest()
      : server_(serverOver<ScriptedServer>(
            GetParam(), ScriptedServer::answeringAll(FaultServer::nextAnswer()))) {}

  void TearDown() override {
    FaultFixture::TearDown();
    server_.reset();
  }

  const RequestMessage request() const { return RequestMessage("POST", "/fault", "body"); }

  std::unique_ptr<ScriptedServer> server_;
};

TEST_P(NoServerTest, FailsAfterOneRetryAsLongAsConnectionsAreRefused) {
  const test_support::RefusingPort port;
  const Outcome refused = failedTwice(kIo, "Connection refused");
  create(port.port());

  Answer answer = perform(request());
  expectOutcome(answer, refused);
  EXPECT_EQ(answer.contentType, "text/plain");
  expectOutcome(perform(request()), refused);

  server_->listenOn(port.listen());
  expectNextSucceeds();
  EXPECT_EQ(server_->connectionCount(), 1u);

  server_->die();
  server_->waitForFinishedConnections(1);
  const std::string lost =
      isTls(GetParam()) ? retryLine(kIo, kSsl, kCutTls) : retryLine(kNoMessage, kNothingCame);
  expectOutcome(perform(request()), failed("Connection refused", "", {lost}, 2));

  server_->listenOn(port.listen());
  expectNextSucceeds();
  EXPECT_EQ(server_->connectionCount(), 2u);
  EXPECT_EQ(server_->requests().size(), 2u);
}

TEST_P(NoServerTest, FailsWithoutRetryAsLongAsTheQueueOfConnectionsIsFull) {
  test_support::UnansweringPort port;
  const std::string peer = "127.0.0.1:" + std::to_string(port.port());
  configure("timeoutSecs", data_t(1));
  create(port.port());

  expectOutcome(perform(request()), failed("Timeout", "connect timed out: " + peer));

  server_->listenOn(port.drain());
  expectNextSucceeds();
  EXPECT_EQ(server_->requests().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Faults, NoServerTest, overAllWires(), WireTest::nameOf);

struct LookUpFailure {
  const char* name;
  int error;  // of the system's resolver
  std::string exception;
  std::string message;
};

class UnknownHostTest : public NoServerTest {
 protected:
  void failsWith(const LookUpFailure& failure) {
    SCOPED_TRACE(failure.name);
    ScriptedResolver resolver(failure.error);
    reachBy(ScriptedResolver::kName);
    create(server_->port());

    expectOutcome(perform(request()), failedTwice(kIo, failure.exception, failure.message));
    EXPECT_GE(resolver.lookUps(), 2u);
    EXPECT_EQ(server_->connectionCount(), connections_);

    resolver.setError(0);
    expectNextSucceeds();
    EXPECT_EQ(server_->connectionCount(), ++connections_);
    end();
  }

 private:
  std::size_t connections_ = 0;
};

TEST_P(UnknownHostTest, FailsAfterOneRetryWithWhatTheResolverSays) {
  const std::string dns = "DNS error";
  failsWith({"unknown", EAI_NONAME, "Host not found", ScriptedResolver::kName});
  failsWith({"no address", EAI_NODATA, "No address found", ScriptedResolver::kName});
  failsWith({"resolver away", EAI_AGAIN, dns, "Temporary DNS error while resolving: localhost"});
  failsWith(
      {"resolver broken", EAI_FAIL, dns, "Non recoverable DNS error while resolving: localhost"});
  failsWith({"no memory", EAI_MEMORY, dns, "EAI: " + std::to_string(EAI_MEMORY)});
}

INSTANTIATE_TEST_SUITE_P(Faults, UnknownHostTest, overAllWires(), WireTest::nameOf);

class NamelessHostTest : public FaultFixture {};

TEST_F(NamelessHostTest, IsNotFound) {
  reachBy("");
  create(80);

  expectOutcome(perform(RequestMessage("GET", "/", "")), failedTwice(kIo, "Host not found"));
}

class UnwillingServerTest : public WireTest {};

TEST_P(UnwillingServerTest, FailsAfterOneRetryWhenItEndsEveryConnectionAtOnce) {
  const auto script = [](test_support::Connection& connection) {
    connection.finish();
    connection.waitUntilClosed();
  };
  const auto server = serverOver<ScriptedServer>(GetParam(), script);
  create(server->port());

  expectOutcome(perform(RequestMessage("POST", "/", "body")),
                failedTwice(kNoMessage, kNothingCame));

  EXPECT_EQ(server->connectionCount(), 2u);
  end();
}

INSTANTIATE_TEST_SUITE_P(Faults, UnwillingServerTest, overAllWires(), WireTest::nameOf);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
