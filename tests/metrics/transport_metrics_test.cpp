#include "metrics/transport_metrics.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "metrics/busy_record.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

class TransportMetricsTest : public testing::Test {
 protected:
  std::string value(const std::string& suffix) const {
    return host_.statusValue("c1.p" + suffix).value_or("no such item");
  }

  test_support::FakeHost host_;
  connectivity10_15_0::StatusReporter reporter_{this};
  TransportMetrics metrics_{reporter_, "c1", "p", 2};
};

TEST_F(TransportMetricsTest, CreatesItsItemsWithTheirInitialValues) {
  EXPECT_EQ(host_.statusKeys(),
            (std::vector<std::string>{"c1.p.status", "c1.p.errorsTowardsHost",
                                      "c1.p.responsesTowardsHost", "c1.p.numClients",
                                      "c1.p.serializedRequests", "c1.p.queueSize"}));
  EXPECT_EQ(value(".status"), "STARTING");
  for (const char* suffix : {".errorsTowardsHost", ".responsesTowardsHost", ".numClients",
                             ".serializedRequests", ".queueSize"}) {
    EXPECT_EQ(value(suffix), "0") << suffix;
  }
}

TEST_F(TransportMetricsTest, ShowsTheOutcomeOfTheLatestRequest) {
  metrics_.setOnline();
  metrics_.setOnline();
  metrics_.setFailed();

  EXPECT_EQ(host_.statusHistory("c1.p.status"),
            (std::vector<std::string>{"create:STARTING", "set:ONLINE", "set:FAILED"}));
}

TEST_F(TransportMetricsTest, CountsStatusesFrom200To399AsResponsesAndOthersAsErrors) {
  for (const int status : {200, 204, 302, 399}) metrics_.countResponse(status);
  for (const int status : {101, 199, 400, 404, 500}) metrics_.countResponse(status);

  EXPECT_EQ(value(".responsesTowardsHost"), "4");
  EXPECT_EQ(value(".errorsTowardsHost"), "5");
}

TEST_F(TransportMetricsTest, CountsFromSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int j = 0; j < 250; ++j) metrics_.countResponse(200);
    });
  }
  for (auto& thread : threads) thread.join();

  EXPECT_EQ(value(".responsesTowardsHost"), "1000");
}

TEST_F(TransportMetricsTest, ShowsClientsBarriersAndTheQueue) {
  metrics_.addClients(3);
  metrics_.countSerializedRequest();
  metrics_.countSerializedRequest();
  metrics_.setQueueSize(17);

  EXPECT_EQ(value(".numClients"), "3");
  EXPECT_EQ(value(".serializedRequests"), "2");
  EXPECT_EQ(value(".queueSize"), "17");
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

TEST(BusyRecordTest, CountsWholeMillisecondsRoundedUp) {
  BusyRecord record(2);

  record.add(0, 0.0002);
  record.add(1, 0.002);
  record.add(1, 0.0021);

  EXPECT_EQ(record.millis(0), 1u);
  EXPECT_EQ(record.millis(1), 5u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
