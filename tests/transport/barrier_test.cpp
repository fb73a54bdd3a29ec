// Workers that wait for each other, seen from the server.
#include <gtest/gtest.h>

#include <future>
#include <string>

#include "support/scripted_server.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;

constexpr char kOkAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

class BarrierTest : public TransportFixture {
 protected:
  // Barriers ask the host every 5 ms.
  void createAt(const ScriptedServer& server, std::int64_t clients) {
    port_ = server.port();
    create(clients, {{2048, 1848, 1000}, 5});
  }

  ~BarrierTest() override { transport_.reset(); }

  // The server, which lets the first connection wait until it is released.
  std::promise<void> release_;
  ScriptedServer server_{[released = release_.get_future().share()](Connection& connection) {
    while (connection.readRequest()) {
      if (connection.index() == 0) released.wait();
      connection.send(kOkAnswer);
    }
  }};
};

TEST_F(BarrierTest, AllWorkersPerformRequestsAtTheSameTime) {
  ScriptedServer server([](Connection& connection) {
    connection.readRequest();
    connection.waitUntilClosed();
  });
  createAt(server, 3);
  transport_->start();

  for (std::int64_t id = 0; id < 3; ++id) deliver(request(id));

  server.waitForRequests(3);
  EXPECT_EQ(server.connectionCount(), 3u);
  transport_.reset();
  EXPECT_TRUE(answers_.eachOnce(3));
  release_.set_value();
}

TEST_F(BarrierTest, NobodyPassesWhileOneStillWorks) {
  createAt(server_, 3);
  transport_->start();
  deliver(request(0));
  server_.waitForRequests(1);

  deliver(request(1, "concurrencyControlFlush", data_t(true)));
  deliver(request(2));
  host_.waitForShutdownQueries(20);  // the two others have looked again and again
  EXPECT_EQ(server_.requests().size(), 1u);

  release_.set_value();
  transport_->shutdown();
  EXPECT_TRUE(answers_.eachOnce(3));
  EXPECT_EQ(answers_.all()[0].requestId, 0);
}

TEST_F(BarrierTest, EverybodyPassesWhenTheHostGoesDown) {
  createAt(server_, 2);
  transport_->start();
  deliver(request(0));
  server_.waitForRequests(1);
  deliver(request(1, "concurrencyControlFlush", data_t(true)));
  host_.waitForShutdownQueries(3);

  host_.setShuttingDown(true);

  server_.waitForRequests(2);
  answers_.waitFor(1);
  EXPECT_EQ(answers_.all()[0].requestId, 1);
  release_.set_value();
  answers_.waitFor(2);
}

TEST_F(BarrierTest, DoesNotWaitForAWorkerThatHasEnded) {
  createAt(server_, 2);
  transport_->start();
  deliver(request(0));
  server_.waitForRequests(1);
  // The idle worker comes to the barrier, asks the host in vain, and ends.
  host_.failShutdownQueriesFrom(1);
  deliver(request(1, "concurrencyControlFlush", data_t(true)));
  host_.waitForText("Caught exception during processing");
  host_.failShutdownQueriesFrom(UINT64_MAX);
  for (std::int64_t id = 2; id < 10; ++id) deliver(request(id));

  release_.set_value();
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(10));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
