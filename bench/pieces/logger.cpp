// What a log line below the logger's level costs: most lines of a request are such. Its arguments
// are at hand.
//
//   loggerBelowLevel         a line of the transport
//   loggerBelowLevelWorker   a line of a worker, which has its number in front
#include "plugin/logger.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "kel/host_control.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::Logger;
using connectivity10_15_0::LogLevel;
using connectivity10_15_0::ThreadLogger;

// Counts the lines that the host gets, instead of writing them.
class LineCount {
 public:
  LineCount() { kel_host_set_log_sink(&LineCount::add, this); }
  ~LineCount() { kel_host_set_log_sink(nullptr, nullptr); }
  LineCount(const LineCount&) = delete;
  LineCount& operator=(const LineCount&) = delete;

  std::uint64_t lines() const { return lines_; }

 private:
  static void add(void* self, const char*, std::int32_t, const char*) {
    ++static_cast<LineCount*>(self)->lines_;
  }

  std::uint64_t lines_ = 0;
};

// `log` writes a line of a level. At INFO it reaches the host; at DEBUG, as measured, it must not.
template <typename Log>
void measureBelowLevel(benchmark::State& state, const Log& log) {
  const LineCount count;
  log(LogLevel::Info);
  if (count.lines() != 1) return state.SkipWithError("the host gets no lines");
  for (auto _ : state) {
    log(LogLevel::Debug);
    benchmark::ClobberMemory();
  }
  if (count.lines() != 1) state.SkipWithError("lines below the level were written");
}

void loggerBelowLevel(benchmark::State& state) {
  kel_host_set_log_level("pieces", static_cast<std::int32_t>(LogLevel::Info));
  const Logger logger("pieces");
  const std::string text = "argument";
  const Logger* opaque = &logger;
  benchmark::DoNotOptimize(opaque);
  measureBelowLevel(state, [&](LogLevel level) { opaque->log(level, "A line with an %s", text); });
}
BENCHMARK(loggerBelowLevel);

void loggerBelowLevelWorker(benchmark::State& state) {
  kel_host_set_log_level("pieces", static_cast<std::int32_t>(LogLevel::Info));
  const Logger logger("pieces");
  const ThreadLogger worker(logger, 7);
  const std::string text = "argument";
  const ThreadLogger* opaque = &worker;
  benchmark::DoNotOptimize(opaque);
  measureBelowLevel(state, [&](LogLevel level) { opaque->log(level, "A line with an %s", text); });
}
BENCHMARK(loggerBelowLevelWorker);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
