#include "bench/comparison/work.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using bench::parseWork;
using bench::Work;

TEST(WorkTest, HasDefaults) {
  const Work work = parseWork({});

  EXPECT_EQ(work.client, "plugin");
  EXPECT_EQ(work.target(), "/answer/1024/0");
  EXPECT_EQ(work.requestBytes, 1024u);
  EXPECT_EQ(work.rate, 0);
  EXPECT_EQ(work.processor, -1);
}

TEST(WorkTest, IsReadFromWords) {
  const Work work =
      parseWork({"--client",      "poco", "--port",           "8080", "--authority",   "ca.pem",
                 "--connections", "3",    "--requests",       "4",    "--warm-up",     "5",
                 "--delay",       "6",    "--request-bytes",  "7",    "--rate",        "8.5",
                 "--batch",       "9",    "--response-bytes", "10",   "--flush-every", "11",
                 "--keys",        "12",   "--under-way",      "13",   "--processor",   "14"});

  EXPECT_EQ(work.client, "poco");
  EXPECT_EQ(work.port, 8080);
  EXPECT_EQ(work.authorityFile, "ca.pem");
  EXPECT_EQ(work.connections, 3);
  EXPECT_EQ(work.requests, 4u);
  EXPECT_EQ(work.warmUp, 5u);
  EXPECT_EQ(work.delayMs, 6);
  EXPECT_EQ(work.requestBytes, 7u);
  EXPECT_EQ(work.rate, 8.5);
  EXPECT_EQ(work.batch, 9u);
  EXPECT_EQ(work.responseBytes, 10u);
  EXPECT_EQ(work.flushEvery, 11u);
  EXPECT_EQ(work.keys, 12u);
  EXPECT_EQ(work.underWay, 13u);
  EXPECT_EQ(work.processor, 14);
  EXPECT_EQ(work.target(), "/answer/10/6");
}

TEST(WorkTest, RefusesNumbersOutOfRange) {
  EXPECT_THROW(parseWork({"--port", "0"}), std::invalid_argument);
  EXPECT_THROW(parseWork({"--connections", "1025"}), std::invalid_argument);
  EXPECT_THROW(parseWork({"--requests", "0"}), std::invalid_argument);
  EXPECT_THROW(parseWork({"--rate", "-1"}), std::invalid_argument);
}

}  // namespace
