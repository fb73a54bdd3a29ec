#include "bench/comparison/exchange.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "bench/comparison/answering_server.h"
#include "bench/comparison/exchange_loop.h"
#include "bench/comparison/lifecycle.h"
#include "bench/comparison/measurement.h"
#include "bench/comparison/plugin_run.h"
#include "bench/server_tls.h"
#include "support/certificates.h"
#include "support/loopback.h"
#include "support/temp_dir.h"

namespace {

using bench::Measurement;
using bench::Work;
using testing::HasSubstr;

// Each client of the comparison, with a server of it.
class ExchangeTest : public testing::TestWithParam<const char*> {
 protected:
  ExchangeTest() : thread_([this] { server_.serveUntil(stop_); }) {}
  ~ExchangeTest() override {
    ::eventfd_write(stop_, 1);
    thread_.join();
    for (const int descriptor : {plain_, overTls_, stop_}) ::close(descriptor);
  }

  Work work(bool tls) const {
    Work work{.client = GetParam(), .connections = 3, .requests = 50, .warmUp = 5};
    work.port = test_support::boundPort(tls ? overTls_ : plain_);
    if (tls) work.authorityFile = authority_.certificateFile();
    return work;
  }

  // The number of requests without the answer that was asked for.
  static std::uint64_t failuresOf(const Work& work) {
    Measurement measurement(work);
    if (work.client == "plugin") {
      bench::runPlugin(work, measurement);
    } else {
      const auto make = work.client == "socket" ? bench::socketExchange
                        : work.client == "poco" ? bench::pocoExchange
                                                : bench::curlExchange;
      bench::runExchanges(work, make, measurement);
    }
    EXPECT_THAT(measurement.json(), HasSubstr("\"requests\": " + std::to_string(work.requests) +
                                              ", \"failures\": 0, "));
    return measurement.failures();
  }

  const test_support::TempDir folder_;
  test_support::CertificateAuthority authority_{folder_};
  const bench::TlsContext tls_ = bench::serverTls(authority_.issue());
  const int plain_ = test_support::listenLoopback();
  const int overTls_ = test_support::listenLoopback();
  const int stop_ = ::eventfd(0, EFD_CLOEXEC);
  bench::AnsweringServer server_{plain_, overTls_, tls_.get()};
  std::thread thread_;
};

TEST_P(ExchangeTest, PerformsBodiesBothWaysPlainAndOverTls) {
  for (const bool tls : {false, true}) {
    for (const std::size_t bytes : {0u, 1024u, 300'000u}) {
      SCOPED_TRACE((tls ? "TLS, bytes " : "plain, bytes ") + std::to_string(bytes));
      Work sent = work(tls);
      sent.requestBytes = bytes;
      sent.responseBytes = 10;
      EXPECT_EQ(failuresOf(sent), 0u);
      Work received = work(tls);
      received.requestBytes = 0;
      received.responseBytes = bytes;
      EXPECT_EQ(failuresOf(received), 0u);
    }
  }
}

// Of the plugin these are two lots of messages.
TEST_P(ExchangeTest, PerformsManyLargeRequests) {
  Work large = work(false);
  large.requests = 70;
  large.requestBytes = 1024 * 1024;
  large.responseBytes = 1;

  EXPECT_EQ(failuresOf(large), 0u);
}

TEST_P(ExchangeTest, PerformsAtASteadyRate) {
  Work paced = work(false);
  paced.rate = 1000;

  EXPECT_EQ(failuresOf(paced), 0u);
}

TEST_P(ExchangeTest, FailsWithoutAServer) {
  const test_support::RefusingPort refusing;
  Work refused = work(false);
  refused.port = refusing.port();

  EXPECT_THROW(failuresOf(refused), std::exception);
}

INSTANTIATE_TEST_SUITE_P(Clients, ExchangeTest, testing::Values("plugin", "socket", "poco", "curl"),
                         [](const auto& each) { return std::string(each.param); });

using PluginRunTest = ExchangeTest;

TEST_P(PluginRunTest, TellsHowManyRequestsHaveFailed) {
  const test_support::RefusingPort refusing;
  Work refused = work(false);
  refused.port = refusing.port();
  refused.warmUp = 0;
  Measurement measurement(refused);

  bench::runPlugin(refused, measurement);

  EXPECT_EQ(measurement.failures(), 50u);
  EXPECT_THAT(measurement.json(), HasSubstr("\"failures\": 50, "));
}

INSTANTIATE_TEST_SUITE_P(Plugin, PluginRunTest, testing::Values("plugin"));

using LifecycleTest = ExchangeTest;

TEST_P(LifecycleTest, TellsWhatWorkersCostThatHoldAConnectionEach) {
  Work idle = work(false);
  idle.delayMs = 20;

  const std::string json = bench::lifecycleJson(idle);

  EXPECT_THAT(json, HasSubstr(R"({"client": "lifecycle", "connections": 3, "residentKib": )"));
  EXPECT_THAT(json, HasSubstr(R"("createMillis": )"));
  EXPECT_THAT(json, HasSubstr(R"("endMillis": )"));
}

INSTANTIATE_TEST_SUITE_P(Plugin, LifecycleTest, testing::Values("plugin"));

TEST(NoExchangeTest, TellsHowLateThreadsWakeUp) {
  const Work work{.client = "nothing", .connections = 2, .requests = 20, .rate = 10'000};
  Measurement measurement(work);

  bench::runExchanges(work, bench::noExchange, measurement);

  EXPECT_EQ(measurement.failures(), 0u);
  EXPECT_THAT(measurement.json(), HasSubstr("\"requests\": 20, \"failures\": 0, "));
}

}  // namespace
