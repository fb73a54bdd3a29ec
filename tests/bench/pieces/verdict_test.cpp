#include "bench/pieces/verdict.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

void performs(benchmark::State& state) {
  for (auto _ : state) benchmark::ClobberMemory();
}
BENCHMARK(performs)->Iterations(3);

void refuses(benchmark::State& state) { state.SkipWithError("the piece does something else"); }
BENCHMARK(refuses);

void refusesAfterwards(benchmark::State& state) {
  for (auto _ : state) benchmark::ClobberMemory();
  state.SkipWithError("it did something else");
}
BENCHMARK(refusesAfterwards)->Iterations(3);

class VerdictTest : public testing::Test {
 protected:
  VerdictTest() {
    display_.SetOutputStream(&shown_);
    display_.SetErrorStream(&errors_);
  }

  int verdict(const std::string& filter) { return pieces::runAndJudge(display_, filter); }

  bool shows(const std::string& text) const { return shown_.str().find(text) != std::string::npos; }

  benchmark::ConsoleReporter display_{benchmark::ConsoleReporter::OO_None};
  std::ostringstream shown_;
  std::ostringstream errors_;
};

TEST_F(VerdictTest, IsGoodWhereEveryBenchmarkPerforms) {
  EXPECT_EQ(verdict("^performs"), 0);
  EXPECT_TRUE(shows("\nperforms")) << shown_.str();
}

TEST_F(VerdictTest, IsBadWhereOneReportsAnError) {
  EXPECT_EQ(verdict("^(performs|refuses)"), 1);
  EXPECT_TRUE(shows("\nperforms")) << shown_.str();
  EXPECT_TRUE(shows("'the piece does something else'")) << shown_.str();
}

TEST_F(VerdictTest, IsBadWhereOneReportsAnErrorAfterItsLastIteration) {
  EXPECT_EQ(verdict("^refusesAfterwards"), 1);
  EXPECT_TRUE(shows("'it did something else'")) << shown_.str();
}

TEST_F(VerdictTest, IsBadWhereNoBenchmarkRuns) { EXPECT_EQ(verdict("^nothing of that name"), 1); }

}  // namespace
