// Measures the pieces of the plugin one by one, with the options of Google Benchmark. Exit code: 0
// if each measured what it says, 1 if one did not or none was asked for, 2 for wrong usage.
#include <benchmark/benchmark.h>

#include <memory>

#include "bench/pieces/verdict.h"

int main(int count, char** words) {
  benchmark::Initialize(&count, words);
  if (benchmark::ReportUnrecognizedArguments(count, words)) return 2;
  const std::unique_ptr<benchmark::BenchmarkReporter> display(
      benchmark::CreateDefaultDisplayReporter());
  return pieces::runAndJudge(*display, benchmark::GetBenchmarkFilter());
}
