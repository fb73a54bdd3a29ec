#include "metrics/ewma.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace com::corvane::connectivity::plugins {
namespace {

using testing::StrEq;
using testing::ThrowsMessage;

TEST(EwmaTest, BeginsWithoutAValue) { EXPECT_EQ(Ewma(0.5).value(), 0); }

TEST(EwmaTest, BecomesItsFirstSample) {
  Ewma average(0.1);

  average.add(7);

  EXPECT_EQ(average.value(), 7);
}

TEST(EwmaTest, WeighsANewSampleByTheCoefficient) {
  Ewma average(0.25);

  average.add(8);
  average.add(16);

  EXPECT_EQ(average.value(), 10);

  average.add(2);

  EXPECT_EQ(average.value(), 8);
}

TEST(EwmaTest, BeginsWithTheGivenValue) {
  Ewma average(0.5, 4);
  EXPECT_EQ(average.value(), 4);

  average.add(8);

  EXPECT_EQ(average.value(), 6);
}

TEST(EwmaTest, TakesAStartAtZeroForNoSample) {
  Ewma average(0.5, 0);

  average.add(8);

  EXPECT_EQ(average.value(), 8);
}

TEST(EwmaTest, StartsAgainAtZero) {
  Ewma average(0.5);
  average.add(4);
  average.add(-4);
  ASSERT_EQ(average.value(), 0);

  average.add(10);

  EXPECT_EQ(average.value(), 10);
}

TEST(EwmaTest, SamplesOfZeroBeforeTheFirstOtherDoNotCount) {
  Ewma average(0.5);

  average.add(0);
  average.add(0);
  average.add(6);

  EXPECT_EQ(average.value(), 6);
}

TEST(EwmaTest, RefusesACoefficientOutsideOfZeroToOne) {
  const auto refusal = ThrowsMessage<std::runtime_error>(
      StrEq("EWMA coefficient must be between 0 and 1 (exclusive)"));

  for (const double coefficient :
       {1.0, 0.0, -0.1, 1.5, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_THAT([&] { Ewma average(coefficient); }, refusal) << coefficient;
    EXPECT_THAT([&] { Ewma average(coefficient, 3); }, refusal) << coefficient;
  }
}

TEST(EwmaTest, TakesCoefficientsUpToTheBounds) {
  EXPECT_NO_THROW(Ewma(std::numeric_limits<double>::min()));
  EXPECT_NO_THROW(Ewma(1 - std::numeric_limits<double>::epsilon()));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
