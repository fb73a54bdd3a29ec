#include "bench/comparison/measurement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "bench/comparison/work.h"

namespace {

using bench::Measurement;
using bench::Work;
using testing::HasSubstr;

TEST(MeasurementTest, TellsThePercentilesOfTheLatencies) {
  const Work work{.client = "socket", .requests = 1001};
  Measurement measurement(work);
  measurement.begin();
  for (std::uint64_t i = 0; i < 1001; ++i) {
    measurement.record(i, static_cast<std::int64_t>(1000 - i) * 1000);  // 1 ms down to nothing
  }
  measurement.end();

  const std::string json = measurement.json();

  EXPECT_THAT(json, HasSubstr(R"("client": "socket", "requests": 1001, "failures": 0, )"));
  EXPECT_THAT(json, HasSubstr(R"("p50Micros": 500.0, "p90Micros": 900.0, "p99Micros": 990.0, )"));
  EXPECT_THAT(json, HasSubstr(R"("p999Micros": 999.0, )"));
}

TEST(MeasurementTest, CountsFailures) {
  const Work work{.requests = 1};
  Measurement measurement(work);
  measurement.begin();
  measurement.countFailure();
  measurement.countFailure();
  measurement.end();

  EXPECT_EQ(measurement.failures(), 2u);
  EXPECT_THAT(measurement.json(), HasSubstr(R"("failures": 2, )"));
}

TEST(MeasurementTest, TellsTheProcessorTimeInBetween) {
  const Work work{.requests = 1};
  Measurement measurement(work);
  measurement.begin();
  std::uint64_t sum = 0;
  for (std::uint64_t i = 0; i < 20'000'000; ++i) {
    sum += i;
    asm volatile("" : "+r"(sum));
  }
  measurement.end();

  const std::string json = measurement.json();

  EXPECT_THAT(json, testing::Not(HasSubstr(R"("userMicros": 0.000, "systemMicros": 0.000)")));
}

}  // namespace
