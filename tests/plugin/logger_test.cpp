#include "plugin/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <limits>
#include <new>
#include <stdexcept>

#include "plugin/allocation_counter.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity10_15_0 {

using testing::ElementsAre;
using testing::IsEmpty;
using Line = test_support::FakeHost::Line;

class LoggerTest : public testing::Test {
 protected:
  test_support::FakeHost host_;
};

TEST_F(LoggerTest, LevelsHaveTheNumbersOfTheHost) {
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Crit), 0);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Fatal), 1);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Error), 2);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Warn), 3);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Info), 4);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Debug), 5);
  EXPECT_EQ(static_cast<std::int32_t>(LogLevel::Trace), 6);
}

TEST_F(LoggerTest, CategoryIsThePrefixToo) {
  const Logger logger("some.category");

  EXPECT_EQ(logger.category(), "some.category");
  EXPECT_EQ(logger.prefix(), "some.category");
}

TEST_F(LoggerTest, AsksForTheLevelOfItsCategoryOnce) {
  host_.setLogLevel(5);

  const Logger logger("some.category");
  logger.log(LogLevel::Info, "one");
  logger.log(LogLevel::Info, "two");

  EXPECT_EQ(logger.level(), 5);
  EXPECT_THAT(host_.levelQueries(), ElementsAre("some.category"));
}

TEST_F(LoggerTest, LaterLevelOfTheHostHoldsForLaterLoggersOnly) {
  const Logger earlier("X");

  host_.setLogLevel(5);
  const Logger later("X");
  earlier.log(LogLevel::Debug, "from the earlier one");
  later.log(LogLevel::Debug, "from the later one");

  EXPECT_EQ(earlier.level(), 4);
  EXPECT_THAT(host_.texts(), ElementsAre("<X> from the later one"));
}

TEST_F(LoggerTest, InfoPutsThePrefixBeforeFormatAndValue) {
  const Logger logger("X");

  logger.info("Created %d Client Session Threads", 4);

  EXPECT_THAT(host_.lines(), ElementsAre(Line{"X", 4, "<%s> Created %d Client Session Threads",
                                              "<X> Created 4 Client Session Threads"}));
}

TEST_F(LoggerTest, DebugWritesAtDebug) {
  host_.setLogLevel(5);
  const Logger logger("X");

  logger.debug("concurrencyControlKey set: %s", "k");

  EXPECT_THAT(host_.lines(), ElementsAre(Line{"X", 5, "<%s> concurrencyControlKey set: %s",
                                              "<X> concurrencyControlKey set: k"}));
}

TEST_F(LoggerTest, FormatWithoutArgumentsStillGetsThePrefix) {
  const Logger logger("X");

  logger.log(LogLevel::Error, "plain");

  EXPECT_THAT(host_.lines(), ElementsAre(Line{"X", 2, "<%s> plain", "<X> plain"}));
}

TEST_F(LoggerTest, EveryKindOfValueArrivesWhole) {
  const Logger logger("X");
  const std::string text = "text";

  logger.log(LogLevel::Warn, "%s %d %I32d %I64d %I64u %s", text,
             std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(),
             std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max(),
             "end");

  EXPECT_THAT(host_.texts(), ElementsAre("<X> text -2147483648 2147483647 -9223372036854775808 "
                                         "18446744073709551615 end"));
}

TEST_F(LoggerTest, SmallerSignedIntegersAreWidened) {
  const Logger logger("X");

  logger.log(LogLevel::Warn, "%d %d", std::int8_t{-128}, std::int16_t{-32768});

  EXPECT_THAT(host_.texts(), ElementsAre("<X> -128 -32768"));
}

TEST_F(LoggerTest, TextIsNeverTakenForAFormat) {
  const Logger logger("100%s");

  logger.log(LogLevel::Warn, "%s", "%d %s %n");

  EXPECT_THAT(host_.texts(), ElementsAre("<100%s> %d %s %n"));
}

TEST_F(LoggerTest, AtInfoWritesErrorAndDropsDebug) {
  const Logger logger("X");

  logger.log(LogLevel::Debug, "dropped");
  logger.debug("%s", "dropped");
  logger.log(LogLevel::Error, "written");

  EXPECT_THAT(host_.texts(), ElementsAre("<X> written"));
}

TEST_F(LoggerTest, NegativeLevelWritesNothing) {
  host_.setLogLevel(-1);
  const Logger logger("X");

  logger.log(LogLevel::Crit, "dropped");

  EXPECT_FALSE(logger.enabled(LogLevel::Crit));
  EXPECT_THAT(host_.lines(), IsEmpty());
}

TEST_F(LoggerTest, ThreadFormPutsTheClientIndexBehindThePrefix) {
  const Logger logger("X");

  logger.logFromThread(3, LogLevel::Warn, "HTTP %s took %I64d", "GET", std::int64_t{12});

  EXPECT_THAT(host_.lines(), ElementsAre(Line{"X", 3, "<%s> {%I64u} HTTP %s took %I64d",
                                              "<X> {3} HTTP GET took 12"}));
}

TEST_F(LoggerTest, ThreadFormIsDroppedBelowTheLevel) {
  const Logger logger("X");

  logger.logFromThread(3, LogLevel::Debug, "dropped");

  EXPECT_THAT(host_.lines(), IsEmpty());
}

TEST_F(LoggerTest, ThreadLoggerWritesTheThreadForm) {
  const Logger logger("X");
  const ThreadLogger worker(logger, std::numeric_limits<std::uint64_t>::max());

  worker.log(LogLevel::Info, "plain");
  worker.log(LogLevel::Debug, "dropped");

  EXPECT_THAT(host_.lines(),
              ElementsAre(Line{"X", 4, "<%s> {%I64u} plain", "<X> {18446744073709551615} plain"}));
  EXPECT_TRUE(worker.enabled(LogLevel::Info));
  EXPECT_FALSE(worker.enabled(LogLevel::Debug));
}

TEST_F(LoggerTest, BuildsNothingBelowTheLevel) {
  const Logger logger("X");
  const std::string text(1000, 'x');
  const auto before = test_support::allocations();

  logger.log(LogLevel::Debug, "a line that is too long for a small string: %s", text);
  logger.logFromThread(1, LogLevel::Debug, "a line that is too long for a small string: %s", text);
  const auto dropped = test_support::allocations();
  logger.log(LogLevel::Info, "a line that is too long for a small string: %s", text);

  EXPECT_EQ(dropped, before);
  EXPECT_GT(test_support::allocations(), dropped);
}

TEST_F(LoggerTest, WrittenLineNeedsNoMemoryButTheHosts) {
  const Logger logger("a category that is too long for a small string");
  const std::string text(1000, 'x');
  const auto allocationsOf = [&](const auto& write) {
    host_.clearLines();
    const auto before = test_support::allocations();
    write();
    return test_support::allocations() - before;
  };
  const auto direct = [&] {
    kel_log_at(logger.category().c_str(), 4, "<%s> {%I64u} a line that is rather long: %s",
               logger.category().c_str(), std::uint64_t{1}, text.c_str());
  };
  const auto logged = [&] {
    logger.logFromThread(1, LogLevel::Info, "a line that is rather long: %s", text);
  };
  direct();

  const auto expected = allocationsOf(direct);

  EXPECT_GT(expected, 0u);
  EXPECT_EQ(allocationsOf(logged), expected);
}

TEST_F(LoggerTest, ExceptionOfTheHostCostsTheLineOnly) {
  const Logger logger("X");
  const ThreadLogger threadLogger(logger, 3);

  for (const auto& failure :
       {std::make_exception_ptr(std::bad_alloc()),
        std::make_exception_ptr(std::runtime_error("no disk")), std::make_exception_ptr(42)}) {
    host_.throwFromLog(failure);
    logger.log(LogLevel::Error, "lost");
    threadLogger.log(LogLevel::Error, "lost");
  }
  host_.throwFromLog(nullptr);
  host_.clearLines();
  logger.log(LogLevel::Error, "written");

  EXPECT_THAT(host_.texts(), ElementsAre("<X> written"));
}

// Each level of the host lets exactly the lines through whose number is not greater.
class LoggerLevelTest : public testing::TestWithParam<std::int32_t> {
 protected:
  test_support::FakeHost host_;
};

TEST_P(LoggerLevelTest, WritesLinesUpToTheLevelOfTheHost) {
  host_.setLogLevel(GetParam());
  const Logger logger("X");

  for (std::int32_t level = 0; level <= 6; ++level) {
    logger.log(static_cast<LogLevel>(level), "line");
    logger.logFromThread(0, static_cast<LogLevel>(level), "line");
  }

  std::vector<std::int32_t> expected;
  for (std::int32_t level = 0; level <= GetParam(); ++level)
    expected.insert(expected.end(), 2, level);
  std::vector<std::int32_t> written;
  for (const Line& line : host_.lines()) written.push_back(line.level);
  EXPECT_EQ(written, expected);
}

INSTANTIATE_TEST_SUITE_P(AllLevels, LoggerLevelTest, testing::Range(-1, 7), [](const auto& tested) {
  return tested.param < 0 ? std::string("Off") : "Level" + std::to_string(tested.param);
});

}  // namespace com::corvane::connectivity10_15_0
