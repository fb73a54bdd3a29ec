// pieces/verdict.h : runs benchmarks and tells whether they measured what they say.
//
// Threads:   one.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace pieces {

/// Runs the benchmarks whose names match the regular expression `filter` and shows them on
/// `display`. Result: an exit code, 0 unless one of them reported an error or none matched.
int runAndJudge(benchmark::BenchmarkReporter& display, const std::string& filter);

}  // namespace pieces
