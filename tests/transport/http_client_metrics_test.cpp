// What operators see of real exchanges.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <latch>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "runtime/manual_clock.h"
#include "support/scripted_server.h"
#include "transport/http_client.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Connection;
using test_support::ScriptedServer;
using testing::ElementsAre;

constexpr std::int64_t kHourMs = 3600000;
constexpr char kEmptyAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

class HttpClientMetricsTest : public TransportFixture {
 protected:
  /// Creates and starts the transport for a server.
  void startFor(const ScriptedServer& server, std::int64_t clients = 1,
                std::function<void()> onAnswer = nullptr) {
    port_ = server.port();
    create(clients, {}, std::move(onAnswer));
    transport_->start();
  }

  /// Performs one request to its end.
  void perform(Message message) {
    const std::size_t before = answers_.count();
    deliver(std::move(message));
    answers_.waitFor(before + 1);
  }

  static Message post(std::int64_t id, std::size_t bytes) {
    Message message = request(id);
    auto& http = connectivity10_15_0::get<map_t>(message.metadata.find("http").value());
    http.find("method").value() = data_t("POST");
    const std::string body(bytes, 'x');
    message.payload = data_t(buffer_t::copyOf(body.data(), body.size()));
    return message;
  }

  /// A script that answers one request after another, each after the given time.
  ScriptedServer::Script answeringAfter(std::vector<std::int64_t> delaysMs,
                                        std::string answer = kEmptyAnswer) {
    return [this, delaysMs, answer](Connection& connection) {
      for (const std::int64_t delay : delaysMs) {
        if (!connection.readRequest()) return;
        clock_.advanceMs(delay);
        connection.send(answer);
      }
      connection.waitUntilClosed();
    };
  }

  /// What a host side does to hold up the first answer on the worker.
  std::function<void()> holdingTheFirst() {
    return [this] {
      if (!first_.exchange(false)) return;
      held_.count_down();
      released_.wait();
    };
  }

  /// Delivers four requests, three of them while the first one's answer is held.
  void deliverThreeWhileTheFirstIsHeld() {
    deliver(request(0));
    held_.wait();
    for (std::int64_t id = 1; id <= 3; ++id) deliver(request(id));
    released_.count_down();
    answers_.waitFor(4);
  }

  /// The values of several items, in a line.
  std::string statuses(const std::vector<std::string>& suffixes) const {
    std::string line;
    for (const auto& suffix : suffixes) line += (line.empty() ? "" : " ") + status(suffix);
    return line;
  }
  std::string counts() const { return statuses({".responsesTowardsHost", ".errorsTowardsHost"}); }
  std::string latencies() const {
    return statuses({".requestLatencyEWMAShortMillis", ".requestLatencyEWMALongMillis"});
  }
  std::string requestSizes() const {
    return statuses({".requestSizeEWMAShortBytes", ".requestSizeEWMALongBytes",
                     ".requestSizeMaxInLastHourBytes"});
  }
  std::string responseSizes() const {
    return statuses({".responseSizeEWMAShortBytes", ".responseSizeEWMALongBytes",
                     ".responseSizeMaxInLastHourBytes"});
  }

  std::vector<std::string> history(const std::string& suffix) const {
    return host_.statusHistory("chain.plugin" + suffix);
  }

  std::atomic<bool> first_ = true;
  std::latch held_{1};
  std::latch released_{1};
  orvex::ManualClockForTest clock_{5'000'000'000, 1700000000000};
};

TEST_F(HttpClientMetricsTest, AveragesTheLatencyOfResponses) {
  ScriptedServer server(answeringAfter({250, 750}));
  startFor(server);

  perform(request(0));
  EXPECT_EQ(latencies(), "250 250");

  perform(request(1));
  EXPECT_EQ(latencies(), "500 300");
  transport_->shutdown();
}

TEST_F(HttpClientMetricsTest, RecordsLatencyAndSizeBeforeTheResponseLeavesAndCountsItAfter) {
  ScriptedServer server(
      answeringAfter({250, 250}, "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhello"));
  std::string seen;
  startFor(server, 1, [&] {
    seen = latencies() + ", " + responseSizes() + ", " + counts() + ", " +
           status(".concurrencyUtilizationPercent");
  });

  perform(request(0));
  transport_->shutdown();

  EXPECT_EQ(seen, "250 250, 5 5 5, 0 0, 0");
  EXPECT_EQ(counts(), "1 0");
}

TEST_F(HttpClientMetricsTest, CountsANotFoundAsAnErrorWithoutAResponseSize) {
  ScriptedServer server(
      answeringAfter({40}, "HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nwhat?"));
  startFor(server);

  perform(post(0, 3));
  transport_->shutdown();

  EXPECT_EQ(counts(), "0 1");
  EXPECT_EQ(responseSizes(), "0 0 0");
  EXPECT_EQ(latencies(), "40 40");
  EXPECT_EQ(requestSizes(), "3 3 3");
  EXPECT_EQ(status(".status"), "ONLINE");
}

TEST_F(HttpClientMetricsTest, CountsARedirectThatIsPassedOnAsAResponse) {
  ScriptedServer server(answeringAfter(
      {40}, "HTTP/1.1 302 Found\r\nLocation: /new\r\nContent-Length: 4\r\n\r\ngone"));
  config_.insert(data_t("followRedirects"), data_t(false));
  startFor(server);

  perform(request(0));
  transport_->shutdown();

  EXPECT_EQ(counts(), "1 0");
  EXPECT_EQ(responseSizes(), "0 0 0");
  EXPECT_EQ(latencies(), "40 40");
}

TEST_F(HttpClientMetricsTest, CountsAFailureAsAnErrorWithItsLatencyAndWithoutSizes) {
  ScriptedServer server([this](Connection& connection) {  // takes two attempts, answers none
    connection.readRequest();
    clock_.advanceMs(100);
  });
  startFor(server);

  perform(post(0, 3));
  transport_->shutdown();

  EXPECT_EQ(counts(), "0 1");
  EXPECT_EQ(latencies(), "200 200");
  EXPECT_EQ(requestSizes(), "0 0 0");
  EXPECT_EQ(responseSizes(), "0 0 0");
  EXPECT_EQ(status(".status"), "FAILED");
}

TEST_F(HttpClientMetricsTest, CountsAMessageThatCannotBeReadAsAnError) {
  create(1);
  transport_->start();
  Message message = request(0);
  message.metadata.erase(message.metadata.find("http"));

  perform(std::move(message));
  transport_->shutdown();

  EXPECT_EQ(counts(), "0 1");
  EXPECT_EQ(status(".status"), "ONLINE");
}

TEST_F(HttpClientMetricsTest, ForgetsTheLargestRequestAfterAnHour) {
  ScriptedServer server(answeringAfter({0, 0, 0}));
  startFor(server);

  perform(post(0, 1000));
  perform(post(1, 500));
  EXPECT_EQ(status(".requestSizeMaxInLastHourBytes"), "1000");
  clock_.advanceMs(2 * kHourMs);
  perform(post(2, 10));
  transport_->shutdown();

  EXPECT_EQ(status(".requestSizeMaxInLastHourBytes"), "10");
  EXPECT_EQ(status(".requestSizeEWMAShortBytes"), "380");  // half of 750 and half of 10
}

TEST_F(HttpClientMetricsTest, ShowsWhatWaitsAfterEachResponse) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  startFor(server, 1, holdingTheFirst());

  deliverThreeWhileTheFirstIsHeld();
  host_.waitForStatus("chain.plugin.queueSize", "0");  // before a shutdown's barrier counts
  transport_->shutdown();

  EXPECT_THAT(history(".queueSize"), ElementsAre("create:0", "set:3", "set:2", "set:1", "set:0"));
}

TEST_F(HttpClientMetricsTest, FailuresLeaveTheQueuesSizeAlone) {
  create(1, {}, holdingTheFirst());
  transport_->start();

  deliverThreeWhileTheFirstIsHeld();
  transport_->shutdown();

  EXPECT_EQ(counts(), "0 4");
  EXPECT_THAT(history(".queueSize"), ElementsAre("create:0"));
}

TEST_F(HttpClientMetricsTest, OneWorkerThatIsAlwaysBusyIsAHundredPercent) {
  ScriptedServer server(answeringAfter({100, 30}));
  startFor(server);

  perform(request(0));
  perform(request(1));
  transport_->shutdown();

  EXPECT_THAT(history(".concurrencyUtilizationPercent"), ElementsAre("create:0", "set:100"));
}

TEST_F(HttpClientMetricsTest, OneOfFourWorkersIsAQuarter) {
  ScriptedServer server(answeringAfter({100}));
  startFor(server, 4);

  perform(request(0));
  transport_->shutdown();

  EXPECT_THAT(history(".concurrencyUtilizationPercent"), ElementsAre("create:0", "set:25"));
}

TEST_F(HttpClientMetricsTest, CountsTheTimeOfAWorkerThatHasNoAnswerYet) {
  std::latch bothAsked(2);
  std::latch published(1);
  std::atomic<bool> first = true;
  ScriptedServer server([&](Connection& connection) {
    connection.readRequest();
    bothAsked.arrive_and_wait();
    if (first.exchange(false)) {
      clock_.advanceMs(100);
    } else {
      published.wait();
    }
    connection.send(kEmptyAnswer);
    connection.waitUntilClosed();
  });
  startFor(server, 2);

  deliver(request(0));
  deliver(request(1));
  answers_.waitFor(1);
  host_.waitForStatus("chain.plugin.concurrencyUtilizationPercent", "100");
  EXPECT_EQ(answers_.count(), 1u);
  published.count_down();
  transport_->shutdown();
}

TEST_F(HttpClientMetricsTest, AddsUpWhatParallelWorkersDo) {
  constexpr std::int64_t kRequests = 800;
  ScriptedServer server([](Connection& connection) {
    while (const auto request = connection.readRequest()) {
      connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(request->body.size()) +
                      "\r\n\r\n" + request->body);
    }
  });
  startFor(server, 8);

  for (std::int64_t id = 0; id < kRequests; ++id) deliver(post(id, id == 400 ? 128 : 64));
  answers_.waitFor(kRequests);
  host_.waitForStatus("chain.plugin.queueSize", "0");
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(kRequests));
  EXPECT_EQ(counts(), "800 0");
  EXPECT_EQ(status(".requestSizeMaxInLastHourBytes"), "128");
  EXPECT_EQ(status(".responseSizeMaxInLastHourBytes"), "128");
  EXPECT_EQ(status(".requestSizeEWMAShortBytes"), "64");
  EXPECT_EQ(status(".responseSizeEWMAShortBytes"), "64");
}

TEST_F(HttpClientMetricsTest, DeliversResponsesThoughTheHostCannotShowFigures) {
  ScriptedServer server(ScriptedServer::answeringAll(kEmptyAnswer));
  startFor(server, 2);
  host_.throwFromStatus(std::make_exception_ptr(std::runtime_error("display is gone")));

  for (std::int64_t id = 0; id < 10; ++id) {
    deliver(request(id, "concurrencyControlFlush", data_t(true)));
  }
  transport_->shutdown();

  EXPECT_TRUE(answers_.eachOnce(10));
  for (const auto& answer : answers_.all()) EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(counts(), "10 0");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
