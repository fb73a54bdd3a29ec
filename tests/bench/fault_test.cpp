#include "bench/fault.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace {

using bench::Fault;
using bench::FaultSchedule;

std::map<Fault, int> faultsOf(const FaultSchedule& schedule, int ids) {
  std::map<Fault, int> faults;
  for (int id = 1; id <= ids; ++id) ++faults[schedule.at(static_cast<std::uint64_t>(id), 0)];
  return faults;
}

TEST(FaultScheduleTest, GivesTheSameFaultsForTheSameSeed) {
  const FaultSchedule one(7, 5);
  const FaultSchedule same(7, 5);
  const FaultSchedule other(8, 5);
  int different = 0;
  for (unsigned id = 0; id < 10'000; ++id) {
    EXPECT_EQ(one.at(id, id % 3), same.at(id, id % 3)) << "id " << id;
    different += one.at(id, 0) != other.at(id, 0) ? 1 : 0;
  }
  EXPECT_GT(different, 500);
}

TEST(FaultScheduleTest, MeetsTheShareThatIsAskedFor) {
  const int none = faultsOf(FaultSchedule(1, 5), 100'000)[Fault::None];

  EXPECT_NEAR(none, 95'000, 400);
}

TEST(FaultScheduleTest, HasNoFaultsAtZeroPercentAndOnlyFaultsAtAHundred) {
  EXPECT_EQ(faultsOf(FaultSchedule(1, 0), 10'000)[Fault::None], 10'000);
  EXPECT_EQ(faultsOf(FaultSchedule(1, 100), 10'000)[Fault::None], 0);
}

TEST(FaultScheduleTest, UsesEveryKindAboutAsOftenAsTheOthers) {
  const auto faults = faultsOf(FaultSchedule(3, 100), 100'000);

  const double even = 100'000.0 / (bench::kFaults - 1);
  ASSERT_EQ(faults.size(), bench::kFaults - 1);
  for (const auto& [fault, count] : faults) {
    EXPECT_NEAR(count, even, even / 10) << nameOf(fault);
  }
}

TEST(FaultScheduleTest, DecidesEachAttemptAnew) {
  const FaultSchedule schedule(1, 50);
  int different = 0;
  for (std::uint64_t id = 0; id < 1000; ++id) {
    different += schedule.at(id, 0) != schedule.at(id, 1) ? 1 : 0;
  }
  EXPECT_GT(different, 600);
}

TEST(FaultTest, HasANameOfItsOwnForEachKind) {
  std::set<std::string> names;
  for (std::size_t i = 0; i < bench::kFaults; ++i) names.insert(nameOf(static_cast<Fault>(i)));
  EXPECT_EQ(names.size(), bench::kFaults);
}

}  // namespace
