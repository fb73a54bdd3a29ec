#include "bench/slope.h"

#include <gtest/gtest.h>

#include <vector>

#include "bench/random.h"

namespace {

using bench::Extreme;
using bench::extremes;
using bench::Point;
using bench::theilSenSlope;

TEST(TheilSenSlopeTest, IsThatOfALine) {
  std::vector<Point> points;
  for (int x = 0; x < 10; ++x) points.push_back({x * 2.0, 5 - 3.0 * x});

  EXPECT_DOUBLE_EQ(theilSenSlope(points), -1.5);
}

TEST(TheilSenSlopeTest, IsTheMedianOfAllPairs) {
  // The pairs' slopes are 1, 0, 4, -1, 5.5 and 12.
  EXPECT_DOUBLE_EQ(theilSenSlope({{0, 0}, {1, 1}, {2, 0}, {3, 12}}), (1 + 4) / 2.0);
  // 1, 0 and -1.
  EXPECT_DOUBLE_EQ(theilSenSlope({{0, 0}, {1, 1}, {2, 0}}), 0);
}

TEST(TheilSenSlopeTest, IsZeroWithoutTwoPlaces) {
  EXPECT_EQ(theilSenSlope({}), 0);
  EXPECT_EQ(theilSenSlope({{1, 5}}), 0);
  EXPECT_EQ(theilSenSlope({{1, 5}, {1, 9}}), 0);
}

TEST(TheilSenSlopeTest, FollowsTheLineWhenEveryFourthPointIsWild) {
  std::vector<Point> points;
  for (int x = 0; x < 40; ++x) points.push_back({1.0 * x, x % 4 == 3 ? 1e6 * (40 - x) : 2.0 * x});

  EXPECT_NEAR(theilSenSlope(points), 2, 0.01);
}

TEST(TheilSenSlopeTest, FindsASlowGrowthUnderNoise) {
  std::vector<Point> points;
  for (std::uint64_t x = 0; x < 1000; ++x) {
    const double noise = bench::share(bench::mixed(x)) * 10;
    points.push_back({static_cast<double>(x), 0.01 * static_cast<double>(x) + noise});
  }

  EXPECT_NEAR(theilSenSlope(points), 0.01, 0.002);
}

TEST(ExtremesTest, GivesTheLeastOrTheMostOfEachSpan) {
  const std::vector<Point> points{{0, 5}, {1, 3}, {4, 4}, {5, 9}, {7, 6}, {10, 7}};

  const auto floors = extremes(points, 2, Extreme::Floor);
  const auto ceilings = extremes(points, 2, Extreme::Ceiling);

  ASSERT_EQ(floors.size(), 2u);
  EXPECT_EQ(floors[0].x, 2.5);
  EXPECT_EQ(floors[0].y, 3);
  EXPECT_EQ(floors[1].x, 7.5);
  EXPECT_EQ(floors[1].y, 6);
  ASSERT_EQ(ceilings.size(), 2u);
  EXPECT_EQ(ceilings[0].y, 5);
  EXPECT_EQ(ceilings[1].y, 9);
}

TEST(ExtremesTest, LeavesOutSpansWithoutAPoint) {
  const auto floors = extremes({{0, 1}, {10, 2}}, 5, Extreme::Floor);

  ASSERT_EQ(floors.size(), 2u);
  EXPECT_EQ(floors[0].x, 1);
  EXPECT_EQ(floors[1].x, 9);
}

TEST(ExtremesTest, HasOnePointAtMostWhenAllAreAtOnePlace) {
  EXPECT_TRUE(extremes({}, 3, Extreme::Floor).empty());
  EXPECT_EQ(extremes({{4, 1}, {4, 2}}, 3, Extreme::Ceiling).size(), 1u);
}

}  // namespace
