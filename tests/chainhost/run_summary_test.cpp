#include "chainhost/run_summary.h"

#include <gtest/gtest.h>

#include <utility>

#include "chainhost/host_values.h"

namespace chainhost {
namespace {

void countStatus(RunSummary& summary, Value status) {
  Map http;
  http.insert("statusCode", std::move(status));
  Map metadata;
  metadata.insert("http", Value::map(std::move(http)));
  kel_message message{kel_data{}, metadata.release()};
  summary.countResponse(message);
  releaseMessage(message);
}

TEST(RunSummaryTest, SaysEverythingInOneLine) {
  RunSummary summary;
  summary.messages = 5;
  summary.refused = 2;
  summary.errors = 1;
  summary.responses = {0, 0, 3, 1, 1, 0};
  summary.seconds = 0.0125;

  EXPECT_EQ(summaryText(summary),
            "messages 5, responses 5 (1xx 0, 2xx 3, 3xx 1, 4xx 1, 5xx 0, other 0), errors 1, "
            "refused lines 2, seconds 0.013, requests per second 400.0");
}

TEST(RunSummaryTest, HasNoRateWithoutAResponse) {
  EXPECT_EQ(summaryText(RunSummary{}),
            "messages 0, responses 0 (1xx 0, 2xx 0, 3xx 0, 4xx 0, 5xx 0, other 0), errors 0, "
            "refused lines 0, seconds 0.000, requests per second 0.0");
}

struct StatusCase {
  const char* name;
  std::int64_t status;
  std::size_t statusClass;
  std::uint64_t errors;
};

class RunSummaryStatusTest : public testing::TestWithParam<StatusCase> {};

TEST_P(RunSummaryStatusTest, IsCountedInItsClass) {
  RunSummary summary;

  countStatus(summary, Value::integer(GetParam().status));

  EXPECT_EQ(summary.responses[GetParam().statusClass], 1U);
  EXPECT_EQ(summary.responseCount(), 1U);
  EXPECT_EQ(summary.errors, GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, RunSummaryStatusTest,
    testing::Values(StatusCase{"LastBelow1xx", 99, 0, 1}, StatusCase{"First1xx", 100, 1, 1},
                    StatusCase{"Last1xx", 199, 1, 1}, StatusCase{"First2xx", 200, 2, 0},
                    StatusCase{"Last3xx", 399, 3, 0}, StatusCase{"First4xx", 400, 4, 1},
                    StatusCase{"Last5xx", 599, 5, 1}, StatusCase{"Above5xx", 600, 0, 1},
                    StatusCase{"Negative", -200, 0, 1}),
    [](const auto& param) { return param.param.name; });

TEST(RunSummaryTest, CountsAResponseWithoutAStatusAsAnError) {
  RunSummary summary;

  summary.countResponse(kel_message{});
  countStatus(summary, Value::text("200"));

  EXPECT_EQ(summary.responses[0], 2U);
  EXPECT_EQ(summary.errors, 2U);
}

}  // namespace
}  // namespace chainhost
