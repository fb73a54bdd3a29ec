// Drives the built plugin with a number of requests, over numbers of clients and both wires, while
// the server commits faults. Exit code: 0 if every request was answered once, rightly; 1 if not;
// 2 for wrong usage.
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/test_bed.h"
#include "runtime/platform.h"

namespace {

using bench::Options;
using bench::ProcessFigures;
using bench::Tally;
using bench::TestBed;

struct Run {
  std::int64_t clients;
  bool isTls;
  std::uint64_t requests;
};

std::vector<Run> runsOf(const Options& options) {
  std::vector<Run> runs;
  for (const bool isTls : {false, true}) {
    if (!(isTls ? options.tls : options.plain)) continue;
    for (const std::int64_t clients : options.clients) runs.push_back({clients, isTls, 0});
  }
  for (std::size_t i = 0; i < runs.size(); ++i) {
    runs[i].requests = options.requests / runs.size() + (i < options.requests % runs.size());
  }
  return runs;
}

void printTitle() {
  std::printf("%5s %7s %9s %8s %8s %9s %8s %8s %8s %6s %8s %6s %5s %9s\n", "wire", "clients",
              "requests", "seconds", "per s", "200", "413,503", "failed", "again", "lost",
              "doubled", "crossed", "wrong", "KiB");
}

void perform(TestBed& bed, const Run& run) {
  const Tally before = bed.tally();
  const double start = com::orvex::Platform::relativeHighResTimeFloat();
  {
    const auto transports = bed.createTransports(run.clients, !run.isTls, run.isTls);
    bed.ids().setEnd(bed.ids().next() + run.requests);
    const bench::Delivery delivery(transports, bed.ids(), bed.traffic(), bed.judge());
  }
  const double seconds = com::orvex::Platform::relativeHighResTimeFloat() - start;
  const Tally after = bed.tally();
  const auto grown = [&](std::uint64_t Tally::*number) { return after.*number - before.*number; };
  const std::uint64_t answered = grown(&Tally::answered);
  std::printf("%5s %7" PRId64 " %9" PRIu64 " %8.1f %8.0f %9" PRIu64 " %8" PRIu64 " %8" PRIu64
              " %8" PRIu64 " %6" PRId64 " %8" PRIu64 " %6" PRIu64 " %5" PRIu64 " %9" PRIu64 "\n",
              run.isTls ? "tls" : "plain", run.clients, run.requests, seconds,
              static_cast<double>(run.requests) / seconds, grown(&Tally::delivered),
              grown(&Tally::refused), grown(&Tally::failed), grown(&Tally::seenAgain),
              static_cast<std::int64_t>(run.requests - answered), grown(&Tally::doubled),
              grown(&Tally::crossed), grown(&Tally::damaged) + grown(&Tally::unexplained),
              ProcessFigures::now().residentBytes / 1024);
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** words) {
  try {
    const Options options =
        bench::parseOptions({words + 1, words + count}, {1, 2, 4, 8, 16, 32, 64});
    TestBed bed(options);
    printTitle();
    for (const Run& run : runsOf(options)) perform(bed, run);
    const bool isClean = bed.finish();
    std::printf(isClean ? "All of them answered once, and rightly.\n" : "Not as it should be.\n");
    return isClean ? 0 : 1;
  } catch (const std::invalid_argument& refusal) {
    std::fprintf(stderr, "load: %s\n", refusal.what());
    return 2;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "load: %s\n", failure.what());
    return 1;
  }
}
