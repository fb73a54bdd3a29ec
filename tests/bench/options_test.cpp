#include "bench/options.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using bench::Options;
using bench::parseOptions;

TEST(OptionsTest, HaveDefaults) {
  const Options options = parseOptions({}, {.clients = {8}});

  EXPECT_EQ(options.clients, std::vector<std::int64_t>{8});
  EXPECT_TRUE(options.plain);
  EXPECT_TRUE(options.tls);
  EXPECT_EQ(options.faultPercent, 5);
  EXPECT_EQ(options.bodyBytesMax, 1024u * 1024u);
  EXPECT_EQ(options.memorySlopeMax, 1);
}

TEST(OptionsTest, AreReadFromTheCommandLine) {
  const Options options = parseOptions(
      {"--clients",  "1,64", "--wire",       "tls", "--faults",    "2.5", "--seed",    "9",
       "--requests", "1000", "--body-max",   "0",   "--under-way", "300", "--minutes", "0.5",
       "--cycle",    "3",    "--memory-max", "2"},
      {.clients = {8}});

  EXPECT_EQ(options.clients, (std::vector<std::int64_t>{1, 64}));
  EXPECT_FALSE(options.plain);
  EXPECT_TRUE(options.tls);
  EXPECT_EQ(options.faultPercent, 2.5);
  EXPECT_EQ(options.seed, 9u);
  EXPECT_EQ(options.requests, 1000u);
  EXPECT_EQ(options.bodyBytesMax, 0u);
  EXPECT_EQ(options.underWayMax, 300);
  EXPECT_EQ(options.minutes, 0.5);
  EXPECT_EQ(options.cycleSeconds, 3);
  EXPECT_EQ(options.memorySlopeMax, 2);
}

TEST(OptionsTest, AreRefusedWithTheWordThatIsWrong) {
  const auto refusal = [](const std::vector<std::string>& words) -> std::string {
    try {
      parseOptions(words, {.clients = {8}});
    } catch (const std::invalid_argument& failure) {
      return failure.what();
    }
    return "accepted";
  };

  EXPECT_EQ(refusal({"--client", "1"}), "unknown option: --client");
  EXPECT_EQ(refusal({"--clients"}), "no value for --clients");
  EXPECT_EQ(refusal({"--clients", "1,,2"}), "not a number in range: ");
  EXPECT_EQ(refusal({"--clients", "0"}), "not a number in range: 0");
  EXPECT_EQ(refusal({"--faults", "101"}), "not a number in range: 101");
  EXPECT_EQ(refusal({"--requests", "12x"}), "not a number in range: 12x");
  EXPECT_EQ(refusal({"--under-way", "10"}), "not a number in range: 10");
  EXPECT_EQ(refusal({"--wire", "wet"}), "neither plain nor tls nor both: wet");
}

}  // namespace
