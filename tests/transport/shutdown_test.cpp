// The end of a transport, in every state that it can be in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "http/connections.h"
#include "support/loopback.h"
#include "support/scripted_server.h"
#include "transport/host_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::ElementsAre;

constexpr char kOk[] = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
constexpr char kQueryFailed[] = "An error occurred while checking if host is shutting down";

// Reads a request and never answers it.
void neverAnswer(Connection& connection) {
  if (connection.readRequest()) connection.waitUntilClosed();
}

// Answers half of what it announces.
void stopInTheBody(Connection& connection) {
  if (!connection.readRequest()) return;
  connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
  connection.waitUntilClosed();
}

class ShutdownTest : public HostFixture {
 protected:
  static ScriptedServer::Script answering() { return ScriptedServer::answeringAll(kOk); }
};

// ---- Without a start, a shutdown, or with too many of them

TEST_F(ShutdownTest, BeforeTheStartDropsWhatWaits) {
  const ScriptedServer server(answering());
  create(server.port(), 2);
  deliverMany(0, 3);

  EXPECT_EQ(shutdown(), 0);

  EXPECT_EQ(destroy(), 0);
  EXPECT_EQ(answers_.count(), 0u);
  EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(ShutdownTest, MayBeLeftOutWithoutAStart) {
  const ScriptedServer server(answering());
  create(server.port(), 2);
  deliverMany(0, 3);

  EXPECT_EQ(destroy(), 0);

  EXPECT_EQ(answers_.count(), 0u);
}

TEST_F(ShutdownTest, MayBeLeftOutAfterAStart) {
  const ScriptedServer server(answering());
  createAndStart(server.port(), 2);
  deliverMany(0, 3);
  answers_.waitFor(3);

  EXPECT_EQ(destroy(), 0);

  EXPECT_TRUE(answers_.eachOnce(3));
}

TEST_F(ShutdownTest, ComesOnceForTwoStarts) {
  const ScriptedServer server(answering());
  createAndStart(server.port(), 2);
  EXPECT_EQ(start(), 0);
  deliverMany(0, 20);

  EXPECT_EQ(shutdown(), 0);

  EXPECT_TRUE(answers_.eachOnce(20));
}

TEST_F(ShutdownTest, IsNotUndoneByAnotherStart) {
  const ScriptedServer server(answering());
  createAndStart(server.port(), 2);
  EXPECT_EQ(shutdown(), 0);

  EXPECT_EQ(start(), 0);
  deliverMany(0, 3);
  EXPECT_EQ(shutdown(), 0);

  EXPECT_EQ(answers_.count(), 0u);
  EXPECT_EQ(server.connectionCount(), 0u);
}

TEST_F(ShutdownTest, MayComeTwice) {
  const ScriptedServer server(answering());
  createAndStart(server.port(), 2);
  deliverMany(0, 3);

  EXPECT_EQ(shutdown(), 0);
  EXPECT_EQ(shutdown(), 0);

  EXPECT_TRUE(answers_.eachOnce(3));
}

TEST_F(ShutdownTest, DropsWhatIsDeliveredAfterwards) {
  const ScriptedServer server(answering());
  createAndStart(server.port());
  EXPECT_EQ(shutdown(), 0);

  deliverMany(0, 3);

  EXPECT_EQ(destroy(), 0);
  EXPECT_EQ(answers_.count(), 0u);
  EXPECT_EQ(server.connectionCount(), 0u);
}

// ---- From several threads, and from a worker

TEST_F(ShutdownTest, MayComeFromSeveralThreadsAtOnce) {
  const ScriptedServer server(answering());
  createAndStart(server.port(), 4);
  deliverMany(0, 100);

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back([&] { EXPECT_EQ(shutdown(), 0); });
  for (auto& thread : threads) thread.join();

  EXPECT_TRUE(answers_.eachOnce(100));
}

TEST_F(ShutdownTest, MayComeFromWithinAnAnswer) {
  const ScriptedServer server(answering());
  std::promise<std::int32_t> result;
  onAnswer_ = [&] { result.set_value(shutdown()); };
  createAndStart(server.port(), 2);

  EXPECT_EQ(deliver(request(0)), 0);
  EXPECT_EQ(result.get_future().get(), 0);

  EXPECT_EQ(destroy(), 0);
  EXPECT_TRUE(answers_.eachOnce(1));
}

TEST_F(ShutdownTest, MayComeFromWithinAnAnswerAndFromOutsideAtOnce) {
  const ScriptedServer server(answering());
  std::promise<void> inside;
  std::atomic<bool> once = false;
  onAnswer_ = [&] {
    if (!once.exchange(true)) inside.set_value();
    EXPECT_EQ(shutdown(), 0);
  };
  createAndStart(server.port(), 3);
  deliverMany(0, 10);
  inside.get_future().wait();

  EXPECT_EQ(shutdown(), 0);

  EXPECT_EQ(destroy(), 0);
  EXPECT_TRUE(answers_.noneTwice());
}

TEST_F(ShutdownTest, MayComeFromWithinAnAnswerWhileTheHostGoesDown) {
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      if (connection.index() == 1) return connection.waitUntilClosed();
      connection.send(kOk);
    }
  });
  onAnswer_ = [&] {
    if (answers_.count() > 1) return;
    server.waitForRequests(2);
    host_.setShuttingDown(true);
    EXPECT_EQ(shutdown(), 0);
  };
  createAndStart(server.port(), 2);
  deliverMany(0, 2);

  answers_.waitFor(2);
  EXPECT_EQ(destroy(), 0);

  EXPECT_TRUE(answers_.eachOnce(2));
  EXPECT_EQ(answers_.all()[1].reason, Connections::kCutText);
}

// ---- The host's shutdown flag

TEST_F(ShutdownTest, EndsWhereverTheHostBeginsToGoDown) {
  constexpr std::int64_t kEach = 20;
  for (std::int64_t query = 1; query <= 8; ++query) {
    const ScriptedServer server(answering());
    createAndStart(server.port(), 2);
    for (std::int64_t id = query * kEach; id < (query + 1) * kEach; ++id) {
      deliver(request(id, "concurrencyControlFlush", data_t(id % 5 == 0)));
    }
    host_.shutDownAtQuery(host_.shutdownQueries() + static_cast<std::uint64_t>(query));

    EXPECT_EQ(shutdown(), 0) << query;

    EXPECT_EQ(destroy(), 0) << query;
    host_.shutDownAtQuery(UINT64_MAX);
  }
  EXPECT_TRUE(answers_.noneTwice());
}

TEST_F(ShutdownTest, FailsWithoutAnEndWhenTheHostCannotBeAsked) {
  const ScriptedServer server(answering());
  create(server.port());
  deliverMany(0, 3);
  host_.failShutdownQueriesFrom(1);

  EXPECT_EQ(shutdown(), 1);
  EXPECT_THAT(host_.textsAt(3),
              ElementsAre(std::string("<connectivity.plugin.chain> Exception from shutdown: ") +
                          kQueryFailed));

  // Nothing has ended: what was queued is still performed.
  host_.failShutdownQueriesFrom(UINT64_MAX);
  EXPECT_EQ(start(), 0);
  EXPECT_EQ(shutdown(), 0);
  EXPECT_TRUE(answers_.eachOnce(3));
}

TEST_F(ShutdownTest, FailsWhenTheHostCannotBeAskedWhileItDrains) {
  std::promise<void> release;
  ScriptedServer server([&](Connection& connection) {
    connection.readRequest();
    release.get_future().wait();
    connection.send(kOk);
    connection.waitUntilClosed();
  });
  createAndStart(server.port());
  EXPECT_EQ(deliver(request(0)), 0);
  server.waitForRequests(1);
  host_.failShutdownQueriesFrom(2);

  EXPECT_EQ(shutdown(), 1);

  host_.failShutdownQueriesFrom(UINT64_MAX);
  release.set_value();
  EXPECT_EQ(shutdown(), 0);
  EXPECT_TRUE(answers_.eachOnce(1));
  EXPECT_EQ(answers_.all()[0].status, 200);
}

TEST_F(ShutdownTest, IsMadeUpForByTheDestructionWhenItFailed) {
  ScriptedServer server(neverAnswer);
  createAndStart(server.port());
  EXPECT_EQ(deliver(request(0)), 0);
  server.waitForRequests(1);
  host_.failShutdownQueriesFrom(1);
  EXPECT_EQ(shutdown(), 1);

  EXPECT_EQ(destroy(), 0);

  EXPECT_TRUE(answers_.eachOnce(1));
}

// ---- With a full queue

TEST_F(ShutdownTest, AnswersAFullQueueAndWhatIsInFlight) {
  std::promise<void> release;
  const std::shared_future<void> released(release.get_future());
  ScriptedServer server([&](Connection& connection) {
    while (connection.readRequest()) {
      released.wait();
      connection.send(kOk);
    }
  });
  createAndStart(server.port());
  deliverMany(0, 1);
  server.waitForRequests(1);
  deliverMany(1, 2049);
  std::thread producer([&] { EXPECT_EQ(deliver(request(2049)), 0); });
  host_.waitForText("AffinityQueue is full");

  std::thread stopping([&] { EXPECT_EQ(shutdown(), 0); });
  host_.waitForShutdownQueries(2);
  release.set_value();
  stopping.join();
  producer.join();

  // The request that still waited for space may have come in or not.
  const auto count = answers_.count();
  EXPECT_TRUE(answers_.eachOnce(static_cast<std::int64_t>(count)));
  EXPECT_GE(count, 2049u);
}

TEST_F(ShutdownTest, DropsAFullQueueWhenTheHostGoesDown) {
  ScriptedServer server(neverAnswer);
  createAndStart(server.port());
  deliverMany(0, 1);
  server.waitForRequests(1);
  deliverMany(1, 2049);
  std::thread producer([&] { EXPECT_EQ(deliver(request(2049)), 0); });
  host_.waitForText("AffinityQueue is full");
  host_.setShuttingDown(true);

  EXPECT_EQ(shutdown(), 0);
  producer.join();

  EXPECT_TRUE(answers_.eachOnce(1));
  EXPECT_EQ(answers_.all()[0].reason, Connections::kCutText);
}

TEST_F(ShutdownTest, BeforeTheStartFreesAProducerThatWaits) {
  create(test_support::RefusingPort().port());
  deliverMany(0, 2048);
  std::thread producer([&] { EXPECT_EQ(deliver(request(2048)), 0); });
  host_.waitForText("AffinityQueue is full");

  EXPECT_EQ(shutdown(), 0);
  producer.join();

  EXPECT_EQ(answers_.count(), 0u);
}

TEST_F(ShutdownTest, LeftOutFreesAProducerThatWaits) {
  create(test_support::RefusingPort().port());
  deliverMany(0, 2048);
  std::thread producer([&, plugin = plugin_] {
    Message message = request(2048);
    auto* const raw = reinterpret_cast<kel_message*>(&message);
    EXPECT_EQ(kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin, raw, raw + 1), 0);
  });
  host_.waitForText("AffinityQueue is full");

  EXPECT_EQ(destroy(), 0);
  producer.join();

  EXPECT_EQ(answers_.count(), 0u);
}

// ---- With a server that does not answer

struct Block {
  const char* name;
  ScriptedServer::Script script;  // none: the connection itself is never answered
};

class BlockedShutdownTest : public ShutdownTest, public testing::WithParamInterface<Block> {
 protected:
  BlockedShutdownTest() {
    if (GetParam().script) server_ = std::make_unique<ScriptedServer>(GetParam().script);
  }
  ~BlockedShutdownTest() override { EXPECT_EQ(destroy(), 0); }

  /// Starts a transport and has one request wait in it for the server.
  void block(std::int64_t timeoutSecs) {
    createAndStart(server_ ? server_->port() : unanswering_.port(), 1, timeoutSecs);
    EXPECT_EQ(deliver(request(0)), 0);
    host_.waitForText("Handling a request");
    if (server_) server_->waitForRequests(1);
  }

  void expectOneAttempt() const {
    EXPECT_TRUE(answers_.eachOnce(1));
    if (server_) {
      EXPECT_EQ(server_->connectionCount(), 1u);
    }
  }

  const test_support::UnansweringPort unanswering_;
  std::unique_ptr<ScriptedServer> server_;
};

TEST_P(BlockedShutdownTest, LastsNoLongerThanTheTimeout) {
  block(1);

  EXPECT_EQ(shutdown(), 0);

  expectOneAttempt();
  EXPECT_EQ(answers_.all()[0].status, 400);
  EXPECT_NE(answers_.all()[0].reason, Connections::kCutText);
}

TEST_P(BlockedShutdownTest, CutsTheRequestOffWhenTheHostGoesDown) {
  block(100'000);
  host_.setShuttingDown(true);

  EXPECT_EQ(shutdown(), 0);

  expectOneAttempt();
  EXPECT_EQ(answers_.all()[0].reason, Connections::kCutText);
}

TEST_P(BlockedShutdownTest, CutsTheRequestOffWhenTheHostGoesDownWhileItDrains) {
  block(100'000);
  host_.shutDownAtQuery(2);

  EXPECT_EQ(shutdown(), 0);

  expectOneAttempt();
  EXPECT_EQ(answers_.all()[0].reason, Connections::kCutText);
}

TEST_P(BlockedShutdownTest, LeftOutCutsTheRequestOff) {
  block(100'000);

  EXPECT_EQ(destroy(), 0);

  expectOneAttempt();
  EXPECT_EQ(answers_.all()[0].reason, Connections::kCutText);
}

INSTANTIATE_TEST_SUITE_P(Places, BlockedShutdownTest,
                         testing::Values(Block{"Connect", nullptr}, Block{"Head", &neverAnswer},
                                         Block{"Body", &stopInTheBody}),
                         [](const auto& tested) { return tested.param.name; });

// ---- With a proxy that does not say whether it opens a tunnel

class TunnelShutdownTest : public ShutdownTest {
 protected:
  TunnelShutdownTest() {
    createAndStart(8443);
    EXPECT_EQ(deliver(request(0)), 0);
    proxy_.waitForRequests(1);
  }

  void addTo(map_t& config) const override {
    map_t proxy;
    proxy.insert(data_t("host"), data_t("127.0.0.1"));
    proxy.insert(data_t("port"), data_t(std::int64_t{proxy_.port()}));
    config.insert(data_t("proxy"), data_t(std::move(proxy)));
    config.insert(data_t("tls"), data_t(true));
  }

  void expectOneCut() const {
    EXPECT_TRUE(answers_.eachOnce(1));
    EXPECT_EQ(answers_.all()[0].reason, Connections::kCutText);
    EXPECT_EQ(proxy_.connectionCount(), 1u);
  }

  const ScriptedServer proxy_{neverAnswer};
};

TEST_F(TunnelShutdownTest, CutsTheRequestOffWhenTheHostGoesDown) {
  host_.setShuttingDown(true);

  EXPECT_EQ(shutdown(), 0);

  expectOneCut();
  EXPECT_EQ(destroy(), 0);
}

TEST_F(TunnelShutdownTest, LeftOutCutsTheRequestOff) {
  EXPECT_EQ(destroy(), 0);

  expectOneCut();
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
