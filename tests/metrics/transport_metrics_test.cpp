#include "metrics/transport_metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/manual_clock.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t kHourMs = 3600000;
constexpr std::uint64_t kLargestSize = std::numeric_limits<std::uint64_t>::max();

class TransportMetricsTest : public testing::Test {
 protected:
  std::string value(const std::string& suffix) const {
    return host_.statusValue("c1.p" + suffix).value_or("no such item");
  }

  /// The calls that concern an item after its creation.
  std::vector<std::string> changes(const std::string& suffix) const {
    auto history = host_.statusHistory("c1.p" + suffix);
    history.erase(history.begin());
    return history;
  }

  void onSeveralThreads(const std::function<void()>& action) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int j = 0; j < 250; ++j) action();
      });
    }
    for (auto& thread : threads) thread.join();
  }

  orvex::ManualClockForTest clock_{0, 1700000000000};
  test_support::FakeHost host_;
  connectivity10_15_0::StatusReporter reporter_{this};
  TransportMetrics metrics_{reporter_, "c1", "p", 2};
};

TEST_F(TransportMetricsTest, ShowsTheOutcomeOfTheLatestRequest) {
  metrics_.setOnline();
  metrics_.setOnline();
  metrics_.setFailed();

  EXPECT_THAT(changes(".status"), ElementsAre("set:ONLINE", "set:FAILED"));
}

TEST_F(TransportMetricsTest, ListsAllFiguresButItselfAndTheStatus) {
  std::string listed;
  for (const std::string& key : host_.statusKeys()) {
    if (key == "c1.p.status" || key == "c1.p.KPIs") continue;
    listed += (listed.empty() ? "" : ", ") + key;
  }

  EXPECT_EQ(value(".KPIs"), listed);
  EXPECT_TRUE(listed.starts_with("c1.p.errorsTowardsHost, c1.p.responsesTowardsHost, ")) << listed;
  EXPECT_TRUE(listed.ends_with(", c1.p.queueSize")) << listed;
}

TEST_F(TransportMetricsTest, CountsStatusesFrom200To399AsResponsesAndOthersAsErrors) {
  for (const int status : {200, 204, 302, 399}) metrics_.countResponse(status);
  for (const int status : {101, 199, 400, 404, 500}) metrics_.countResponse(status);

  EXPECT_EQ(value(".responsesTowardsHost"), "4");
  EXPECT_EQ(value(".errorsTowardsHost"), "5");
}

TEST_F(TransportMetricsTest, CountsFromSeveralThreads) {
  onSeveralThreads([&] { metrics_.countResponse(200); });

  EXPECT_EQ(value(".responsesTowardsHost"), "1000");
}

TEST_F(TransportMetricsTest, AveragesLatencyInMilliseconds) {
  metrics_.recordLatency(0.25);
  EXPECT_EQ(value(".requestLatencyEWMAShortMillis"), "250");
  EXPECT_EQ(value(".requestLatencyEWMALongMillis"), "250");

  metrics_.recordLatency(0.75);
  EXPECT_EQ(value(".requestLatencyEWMAShortMillis"), "500");
  EXPECT_EQ(value(".requestLatencyEWMALongMillis"), "300");
}

TEST_F(TransportMetricsTest, SetsTheLongAverageBeforeTheShortOne) {
  host_.clearStatusCalls();

  metrics_.recordLatency(1);

  std::vector<std::string> keys;
  for (const auto& call : host_.statusCalls()) keys.push_back(call.key);
  EXPECT_THAT(
      keys, ElementsAre("c1.p.requestLatencyEWMALongMillis", "c1.p.requestLatencyEWMAShortMillis"));
}

TEST_F(TransportMetricsTest, CutsFractionsOff) {
  metrics_.recordLatency(0.0019999);
  metrics_.recordRequestSize(2);
  metrics_.recordRequestSize(5);

  EXPECT_EQ(value(".requestLatencyEWMAShortMillis"), "1");
  EXPECT_EQ(value(".requestSizeEWMAShortBytes"), "3");  // 3.5
  EXPECT_EQ(value(".requestSizeEWMALongBytes"), "2");   // 2.3
}

TEST_F(TransportMetricsTest, LatencyBelowAMillisecondShowsAsZeroAndStillCounts) {
  metrics_.recordLatency(0.0005);
  EXPECT_THAT(changes(".requestLatencyEWMAShortMillis"), IsEmpty());

  metrics_.recordLatency(0.0025);

  EXPECT_THAT(changes(".requestLatencyEWMAShortMillis"), ElementsAre("set:1"));  // 1.5
}

TEST_F(TransportMetricsTest, AveragesAndTracksRequestSizes) {
  metrics_.recordRequestSize(1000);
  metrics_.recordRequestSize(2000);
  metrics_.recordRequestSize(500);

  EXPECT_THAT(changes(".requestSizeEWMAShortBytes"),
              ElementsAre("set:1000", "set:1500", "set:1000"));
  EXPECT_THAT(changes(".requestSizeEWMALongBytes"),
              ElementsAre("set:1000", "set:1100", "set:1040"));
  EXPECT_THAT(changes(".requestSizeMaxInLastHourBytes"), ElementsAre("set:1000", "set:2000"));
  for (const char* suffix : {".responseSizeEWMAShortBytes", ".responseSizeEWMALongBytes",
                             ".responseSizeMaxInLastHourBytes"}) {
    EXPECT_THAT(changes(suffix), IsEmpty()) << suffix;
  }
}

TEST_F(TransportMetricsTest, AveragesAndTracksResponseSizes) {
  metrics_.recordResponseSize(1000);
  metrics_.recordResponseSize(2000);
  metrics_.recordResponseSize(500);

  EXPECT_THAT(changes(".responseSizeEWMAShortBytes"),
              ElementsAre("set:1000", "set:1500", "set:1000"));
  EXPECT_THAT(changes(".responseSizeEWMALongBytes"),
              ElementsAre("set:1000", "set:1100", "set:1040"));
  EXPECT_THAT(changes(".responseSizeMaxInLastHourBytes"), ElementsAre("set:1000", "set:2000"));
  for (const char* suffix : {".requestSizeEWMAShortBytes", ".requestSizeEWMALongBytes",
                             ".requestSizeMaxInLastHourBytes"}) {
    EXPECT_THAT(changes(suffix), IsEmpty()) << suffix;
  }
}

TEST_F(TransportMetricsTest, ForgetsAMaximumAfterAnHour) {
  metrics_.recordRequestSize(1000);
  metrics_.recordResponseSize(3000);
  clock_.advanceMs(2 * kHourMs);
  EXPECT_EQ(value(".requestSizeMaxInLastHourBytes"), "1000");

  metrics_.recordRequestSize(10);

  EXPECT_EQ(value(".requestSizeMaxInLastHourBytes"), "10");
  EXPECT_EQ(value(".responseSizeMaxInLastHourBytes"), "3000");
}

TEST_F(TransportMetricsTest, EmptyBodiesMakeNoCall) {
  host_.clearStatusCalls();

  metrics_.recordRequestSize(0);
  metrics_.recordResponseSize(0);

  EXPECT_THAT(host_.statusCalls(), IsEmpty());
}

TEST_F(TransportMetricsTest, AnEmptyBodyAfterAnHourMakesTheMaximumZero) {
  metrics_.recordRequestSize(7);
  clock_.advanceMs(kHourMs + 1);

  metrics_.recordRequestSize(0);

  EXPECT_EQ(value(".requestSizeMaxInLastHourBytes"), "0");
}

TEST_F(TransportMetricsTest, SizesAreUnsignedAndStopAtTheLargestNumber) {
  metrics_.recordRequestSize(kLargestSize);

  EXPECT_EQ(value(".requestSizeEWMAShortBytes"), "9223372036854775807");
  EXPECT_EQ(value(".requestSizeMaxInLastHourBytes"), "9223372036854775807");

  metrics_.recordRequestSize(0);

  // Half of 2 to the 64th is just beyond the largest number, nine tenths are far beyond it.
  EXPECT_EQ(value(".requestSizeEWMAShortBytes"), "9223372036854775807");

  metrics_.recordRequestSize(0);

  EXPECT_EQ(value(".requestSizeEWMAShortBytes"), "4611686018427387904");
}

TEST_F(TransportMetricsTest, RecordsRequestSizesFromSeveralThreads) {
  onSeveralThreads([&] { metrics_.recordRequestSize(64); });

  EXPECT_EQ(value(".requestSizeEWMAShortBytes"), "64");
  EXPECT_EQ(value(".requestSizeMaxInLastHourBytes"), "64");
}

TEST_F(TransportMetricsTest, ShowsClientsBarriersAndTheQueue) {
  metrics_.addClients(3);
  metrics_.countSerializedRequest();
  metrics_.countSerializedRequest();
  metrics_.publishQueueSize([] { return 17u; });

  EXPECT_EQ(value(".numClients"), "3");
  EXPECT_EQ(value(".serializedRequests"), "2");
  EXPECT_EQ(value(".queueSize"), "17");
}

TEST_F(TransportMetricsTest, ShowsThePartOfTheWorkersThatIsBusy) {
  const BusyScope busy(metrics_.busyRecord(), 0);
  metrics_.publishUtilization();
  EXPECT_THAT(changes(".concurrencyUtilizationPercent"), IsEmpty());
  clock_.advanceMs(10);

  metrics_.publishUtilization();

  EXPECT_EQ(value(".concurrencyUtilizationPercent"), "50");
}

TEST_F(TransportMetricsTest, GoesOnWhenTheHostCannotShowAFigure) {
  host_.throwFromStatus(std::make_exception_ptr(std::runtime_error("display is gone")));
  clock_.advanceMs(10);

  metrics_.setOnline();
  metrics_.setFailed();
  metrics_.recordRequestSize(1);
  metrics_.recordLatency(1);
  metrics_.recordResponseSize(1);
  metrics_.countResponse(200);
  metrics_.publishUtilization();
  metrics_.addClients(2);
  metrics_.countSerializedRequest();
  metrics_.publishQueueSize([] { return 1u; });
  metrics_.countResponse(200);

  EXPECT_EQ(value(".responsesTowardsHost"), "2");
}

TEST_F(TransportMetricsTest, RefusesToShareItsNames) {
  try {
    const TransportMetrics second(reporter_, "c1", "p", 1);
    FAIL() << "two items of one name";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(),
                 "Failed to create status item 'c1.p.status' (ensure the key is unique and that "
                 "this plug-in has not been shutdown already)");
  }
}

TEST_F(TransportMetricsTest, LeavesNoItemBehindWhenOneOfItsNamesIsTaken) {
  const auto taken = reporter_.createItem("c2.p.queueSize", "mine");
  const auto before = host_.statusKeys();

  EXPECT_THROW(TransportMetrics(reporter_, "c2", "p", 1), std::runtime_error);

  EXPECT_EQ(host_.statusKeys(), before);
  EXPECT_EQ(host_.statusValue("c2.p.queueSize"), "mine");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
