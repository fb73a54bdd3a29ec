#include "bench/comparison/measurement.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
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
  EXPECT_THAT(json, HasSubstr(R"("p999Micros": 999.0})"));
}

TEST(MeasurementTest, CountsFailuresAsTheyCome) {
  const Work work{.requests = 1};
  Measurement measurement(work);
  measurement.countFailure();
  measurement.countFailure();

  EXPECT_EQ(measurement.failures(), 2u);
}

TEST(MeasurementTest, TellsHowManyRequestsHaveNoLatency) {
  const Work work{.requests = 3};
  Measurement measurement(work);
  measurement.record(1, 5000);

  const std::string json = measurement.json();

  EXPECT_THAT(json, HasSubstr(R"("failures": 2, )"));
  EXPECT_THAT(json, HasSubstr(R"("p50Micros": 5.0, )"));
}

TEST(MeasurementTest, OfFailuresAloneHasNoLatency) {
  const Work work{.requests = 3};

  const std::string json = Measurement(work).json();

  EXPECT_THAT(json, HasSubstr(R"("failures": 3, )"));
  EXPECT_THAT(json, HasSubstr(R"("p999Micros": 0.0})"));
}

// Microseconds that this process has computed.
double computed(const std::string& json) {
  double user = 0;
  double system = 0;
  const std::size_t at = json.find("\"userMicros\"");
  const int found =
      std::sscanf(json.c_str() + at, R"("userMicros": %lf, "systemMicros": %lf)", &user, &system);
  EXPECT_EQ(found, 2);
  return user + system;
}

void compute(std::clock_t micros) {
  const std::clock_t end = std::clock() + micros;
  while (std::clock() < end) {
  }
}

TEST(MeasurementTest, AddsUpTheTimesInBetween) {
  const Work work{.requests = 10};
  Measurement measurement(work);
  for (int part = 0; part < 2; ++part) {
    measurement.begin();
    compute(20'000);
    measurement.end();
  }

  const std::string json = measurement.json();
  double seconds = 0;
  std::sscanf(json.c_str() + json.find("\"seconds\""), R"("seconds": %lf)", &seconds);
  EXPECT_GE(computed(json), 3'900);
  EXPECT_GE(seconds, 0.039);
}

TEST(MeasurementTest, LeavesOutWhatIsDoneOutside) {
  const Work work{.requests = 1};
  Measurement measurement(work);
  measurement.begin();
  measurement.end();
  compute(100'000);
  measurement.begin();
  measurement.end();
  compute(100'000);

  EXPECT_LT(computed(measurement.json()), 90'000);
}

}  // namespace
