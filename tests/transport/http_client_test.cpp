#include "transport/http_client.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "runtime/schedulable_queue.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

class HttpClientTest : public TransportFixture {
 protected:
  static HTTPClient::Limits smallLimits() { return {{4, 2, 5}, 5}; }

  std::string createFailure(std::int64_t clients) {
    try {
      create(clients);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "created";
  }

  std::string shutdownFailure() {
    try {
      transport_->shutdown();
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "shut down";
  }
};

TEST_F(HttpClientTest, SaysHowManyWorkersItMade) {
  create(3);

  const auto line = host_.waitForText("Created");
  EXPECT_EQ(line.level, 4);
  EXPECT_EQ(line.category, "connectivity.plugin.chain");
  EXPECT_EQ(line.format, "<%s> Created %d Client Session Threads");
  EXPECT_EQ(line.text, "<connectivity.plugin.chain> Created 3 Client Session Threads");
  EXPECT_EQ(status(".numClients"), "3");
  // Every worker has its session by then.
  const auto texts = host_.texts();
  ASSERT_EQ(texts.size(), 4u);
  for (std::size_t client = 0; client < 3; ++client) {
    EXPECT_EQ(texts[client],
              "<connectivity.plugin.chain> {" + std::to_string(client) +
                  "} Connecting to http://127.0.0.1:" + std::to_string(refusing_.port()));
  }
}

TEST_F(HttpClientTest, RefusesToHaveNoClients) {
  EXPECT_EQ(createFailure(0), "Must have at least one consumer");
  EXPECT_EQ(createFailure(-1), "Must have at least one consumer");
}

TEST_F(HttpClientTest, ShowsItsItemsWithTheirInitialValues) {
  create(1);

  EXPECT_EQ(status(".status"), "STARTING");
  EXPECT_EQ(status(".errorsTowardsHost"), "0");
  EXPECT_EQ(status(".responsesTowardsHost"), "0");
  EXPECT_EQ(status(".serializedRequests"), "0");
  EXPECT_EQ(status(".queueSize"), "0");
}

TEST_F(HttpClientTest, RemovesItsItemsWhenDestroyed) {
  create(1);

  transport_.reset();

  EXPECT_TRUE(host_.statusKeys().empty());
}

TEST_F(HttpClientTest, IsOnlineOnceStarted) {
  create(2);

  transport_->start();

  EXPECT_EQ(status(".status"), "ONLINE");
  transport_->shutdown();
}

TEST_F(HttpClientTest, AnswersEveryRequestOnceAndCountsIt) {
  create(4);
  transport_->start();

  for (std::int64_t id = 0; id < 50; ++id) deliver(request(id));
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(50));
  EXPECT_EQ(status(".errorsTowardsHost"), "50");
  EXPECT_EQ(status(".responsesTowardsHost"), "0");
  EXPECT_EQ(status(".status"), "FAILED");
}

TEST_F(HttpClientTest, AnswersRequestsThatCameBeforeItsStart) {
  create(2);
  deliver(request(0));
  deliver(request(1));

  transport_->start();
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(2));
}

TEST_F(HttpClientTest, AnswersWhatSeveralThreadsDeliver) {
  constexpr std::int64_t kEach = 100;
  create(8, {{4, 2, 5}, 5});
  transport_->start();
  std::vector<std::thread> threads;
  for (std::int64_t thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      for (std::int64_t i = 0; i < kEach; ++i) {
        const std::int64_t id = thread * kEach + i;
        if (i % 10 == 0) {
          deliver(request(id, "concurrencyControlFlush", data_t(true)));
        } else {
          deliver(request(id, "concurrencyControlKey", data_t(id % 3)));
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();

  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(4 * kEach));
  EXPECT_EQ(status(".serializedRequests"), "40");
}

TEST_F(HttpClientTest, DropsWhatIsDeliveredAfterShutdown) {
  create(1);
  transport_->start();
  transport_->shutdown();

  deliver(request(0));

  EXPECT_EQ(answers_.count(), 0u);
}

TEST_F(HttpClientTest, EndsItsWorkersWithALineAtDebug) {
  create(2);
  transport_->start();

  transport_->shutdown();

  int seen = 0;
  for (const auto& line : host_.lines()) {
    if (line.format != "<%s> {%I64u} HTTPClient - Caught exception during processing - %s") {
      continue;
    }
    ++seen;
    EXPECT_EQ(line.level, 5);
    EXPECT_TRUE(line.text.ends_with("This queue has been terminated")) << line.text;
  }
  EXPECT_EQ(seen, 2);
}

TEST_F(HttpClientTest, ShutsDownBeforeItsStart) {
  create(2);
  deliver(request(0));

  transport_->shutdown();

  EXPECT_EQ(answers_.count(), 0u);
}

TEST_F(HttpClientTest, ShutsDownTwice) {
  create(2);
  transport_->start();

  transport_->shutdown();
  transport_->shutdown();

  EXPECT_EQ(linesOf("This queue has been terminated"), 2u);
}

TEST_F(HttpClientTest, ShutsDownFromTwoThreadsAtOnce) {
  create(4);
  transport_->start();
  for (std::int64_t id = 0; id < 20; ++id) deliver(request(id));

  std::thread other([this] { transport_->shutdown(); });
  transport_->shutdown();
  other.join();

  EXPECT_EQ(linesOf("This queue has been terminated"), 4u);
}

TEST_F(HttpClientTest, AbandonsTheQueueWhenTheHostGoesDown) {
  create(1);
  for (std::int64_t id = 0; id < 3; ++id) deliver(request(id));
  host_.setShuttingDown(true);

  transport_->shutdown();

  EXPECT_EQ(answers_.count(), 0u);
  EXPECT_EQ(host_.lastHostHandle(), this);
}

TEST_F(HttpClientTest, CutsTheDrainShortWhenTheHostBeginsToGoDown) {
  // The worker is held inside its first answer, so that the drain cannot end by itself.
  std::atomic<bool> release = false;
  std::atomic<bool> entered = false;
  create(1, smallLimits(), [&] {
    entered = true;
    entered.notify_all();
    release.wait(false);
  });
  transport_->start();
  deliver(request(0));
  entered.wait(false);
  std::thread stopping([this] { transport_->shutdown(); });
  host_.waitForShutdownQueries(3);

  host_.setShuttingDown(true);
  release = true;
  release.notify_all();
  stopping.join();

  EXPECT_EQ(answers_.count(), 1u);
}

TEST_F(HttpClientTest, FailsItsShutdownWhenTheHostCannotBeAsked) {
  create(2);
  transport_->start();
  host_.failShutdownQueriesFrom(1);

  EXPECT_EQ(shutdownFailure(), "An error occurred while checking if host is shutting down");
  transport_.reset();

  EXPECT_EQ(linesOf("This queue has been terminated"), 2u);
}

TEST_F(HttpClientTest, EndsItsWorkersWhenDestroyedWithoutShutdown) {
  create(3);
  transport_->start();

  transport_.reset();

  int atDebug = 0;
  for (const auto& line : host_.lines()) {
    atDebug += line.level == 5 && line.text.ends_with("This queue has been terminated");
  }
  EXPECT_EQ(atDebug, 3);
}

TEST_F(HttpClientTest, ShutsDownAfterAWorkerHasDied) {
  create(2, smallLimits());
  transport_->start();
  // A barrier asks the host; the failing answer ends both workers.
  host_.failShutdownQueriesFrom(1);
  deliver(request(0, "concurrencyControlFlush", data_t("yes")));
  const auto line = host_.waitForText("Caught exception during processing");
  EXPECT_EQ(line.level, 2);
  EXPECT_EQ(line.text,
            "<connectivity.plugin.chain> {" + line.text.substr(line.text.find('{') + 1, 1) +
                "} HTTPClient - Caught exception during processing - An error occurred while "
                "checking if host is shutting down");
  host_.failShutdownQueriesFrom(1000000);

  transport_->shutdown();

  EXPECT_EQ(shutdownFailure(), "shut down");
}

TEST_F(HttpClientTest, DoesNotTakeAWorkerThatHasDiedForAliveWhenStartedAgain) {
  create(2, smallLimits());
  transport_->start();
  host_.failShutdownQueriesFrom(1);
  deliver(request(0, "concurrencyControlFlush", data_t("yes")));
  const auto deaths = [this] { return linesOf("Caught exception during processing"); };
  while (deaths() < 2) std::this_thread::yield();
  host_.failShutdownQueriesFrom(1000000);

  transport_->start();

  EXPECT_EQ(shutdownFailure(), "shut down");
}

TEST_F(HttpClientTest, ShutsDownWhenTheHostCallsBackOnAWorker) {
  std::atomic<bool> done = false;
  create(2, {}, [&] {
    if (!done.exchange(true)) transport_->shutdown();
  });
  transport_->start();
  deliver(request(0));
  answers_.waitFor(1);

  transport_->shutdown();

  EXPECT_EQ(answers_.count(), 1u);
  EXPECT_TRUE(done);
}

TEST_F(HttpClientTest, LetsAWorkerDeliverToItsOwnFullTransport) {
  std::atomic<std::int64_t> next = 1;
  create(1, smallLimits(), [&] {
    // More than the queue holds, from the only thread that takes from it.
    while (next < 20) deliver(request(next++));
  });
  transport_->start();

  deliver(request(0));
  answers_.waitFor(20);
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(20));
}

TEST_F(HttpClientTest, QueuesTheRestOfABatchBeforeTheMessageThatIsRefused) {
  create(2);
  transport_->start();
  kel_data custom{};
  custom.tag = KEL_TAG_CUSTOM;
  Message batch[3] = {request(0), request(1, "concurrencyControlKey", data_t::adopt(custom)),
                      request(2)};

  try {
    transport_->sendBatchTowardsTransport(batch, batch + 3);
    FAIL() << "a custom value was taken for a key";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "Cannot use custom values as a key");
  }
  answers_.waitFor(1);
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(1));
}

TEST_F(HttpClientTest, ReportsKeysAtDebug) {
  create(1);

  deliver(request(0, "concurrencyControlKey", data_t("red")));
  deliver(request(1));

  EXPECT_EQ(linesOf("<connectivity.plugin.chain> HTTPClient - concurrencyControlKey set: red"), 1u);
  EXPECT_EQ(linesOf("<connectivity.plugin.chain> HTTPClient - No concurrencyControlKey"), 1u);
  EXPECT_EQ(host_.waitForText("concurrencyControlKey set").level, 5);
  EXPECT_EQ(host_.waitForText("No concurrencyControlKey").level, 5);
}

TEST_F(HttpClientTest, FlushesForEveryTextButFalse) {
  create(2);

  deliver(request(0, "concurrencyControlFlush", data_t("False")));
  deliver(request(1, "concurrencyControlFlush", data_t("FALSE")));
  deliver(request(2, "concurrencyControlFlush", data_t(false)));
  EXPECT_EQ(status(".serializedRequests"), "0");
  EXPECT_EQ(linesOf("concurrencyControlFlush"), 0u);

  deliver(request(3, "concurrencyControlFlush", data_t("TRUE")));
  deliver(request(4, "concurrencyControlFlush", data_t("")));
  deliver(request(5, "concurrencyControlFlush", data_t(true)));
  EXPECT_EQ(status(".serializedRequests"), "3");
  EXPECT_EQ(linesOf("<connectivity.plugin.chain> HTTPClient - concurrencyControlFlush set: TRUE"),
            1u);
  EXPECT_EQ(host_.waitForText("concurrencyControlFlush set").level, 5);
}

TEST_F(HttpClientTest, HasNoFlushRuleWithOneClient) {
  create(1);

  deliver(request(0, "concurrencyControlFlush", data_t("true")));

  EXPECT_EQ(status(".serializedRequests"), "0");
  EXPECT_EQ(linesOf("concurrencyControlFlush"), 0u);
}

TEST_F(HttpClientTest, FinishesEverythingBeforeABarrierFirst) {
  constexpr std::int64_t kBefore = 40;
  create(4);
  for (std::int64_t id = 0; id < kBefore; ++id) {
    deliver(request(id, "concurrencyControlKey", data_t(id)));
  }
  deliver(request(kBefore, "concurrencyControlFlush", data_t("true")));
  for (std::int64_t id = kBefore + 1; id < 2 * kBefore; ++id) deliver(request(id));

  transport_->start();
  transport_->shutdown();

  const auto answers = answers_.all();
  ASSERT_EQ(answers.size(), static_cast<std::size_t>(2 * kBefore));
  for (std::int64_t i = 0; i < kBefore; ++i) {
    EXPECT_LT(answers[static_cast<std::size_t>(i)].requestId, kBefore);
  }
}

TEST_F(HttpClientTest, KeepsTheOrderOfEachKey) {
  constexpr std::int64_t kCount = 300;
  create(3);
  for (std::int64_t id = 0; id < kCount; ++id) {
    deliver(request(id, "concurrencyControlKey", data_t("key" + std::to_string(id % 5))));
  }

  transport_->start();
  transport_->shutdown();

  std::vector<std::int64_t> last(5, -1);
  for (const auto& answer : answers_.all()) {
    auto& before = last[static_cast<std::size_t>(answer.requestId % 5)];
    EXPECT_LT(before, answer.requestId);
    before = answer.requestId;
  }
  EXPECT_TRUE(answers_.eachOnce(kCount));
}

TEST_F(HttpClientTest, AnswersNobodyWithoutAHostSideAndSaysSo) {
  create(1);
  std::unique_ptr<connectivity10_15_0::HostSide> none;
  transport_->setNextTowardsHost(none);
  transport_->start();

  deliver(request(0));
  transport_->shutdown();

  EXPECT_EQ(linesOf("Could not send a response towards the host: no host side has been set"), 1u);
  EXPECT_EQ(status(".errorsTowardsHost"), "0");
}

TEST_F(HttpClientTest, EntersTheHostsQueueOfTheFirstDeliveringThread) {
  std::atomic<orvex::SchedulableQueue*> seen = nullptr;
  create(1, {}, [&] { seen = orvex::getCurrentSchedulableQueue(); });
  transport_->start();
  orvex::SchedulableQueue hostQueue;

  {
    const orvex::AutoSchedulableQueue scope(&hostQueue);
    deliver(request(0));
  }
  transport_->shutdown();

  EXPECT_EQ(seen, &hostQueue);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
