#include "bench/comparison/lifecycle.h"

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "bench/comparison/measurement.h"
#include "bench/comparison/pace.h"
#include "bench/comparison/plugin_host.h"
#include "bench/process_figures.h"
#include "runtime/platform.h"

namespace bench {
namespace {

double millisSince(std::int64_t nanos) {
  return static_cast<double>(com::orvex::Platform::monotonicNanos() - nanos) / 1e6;
}

// Each worker asks once, if the answers take long enough.
void occupyAll(PluginHost& host, const Work& work, const Measurement& measurement) {
  host.deliver(host.messages(0, static_cast<std::uint64_t>(work.connections)), Pace(0));
  if (measurement.failures() != 0) throw std::runtime_error("a request has failed");
}

// The process while each worker holds a connection and has nothing to do.
ProcessFigures holdAll(PluginHost& host, const Work& work, const Measurement& measurement) {
  constexpr int kAttemptsMax = 10;  // a worker that comes late finds nothing left to ask for
  const std::uint64_t before = ProcessFigures::now().descriptors;
  std::uint64_t held = 0;
  for (int attempt = 0; attempt < kAttemptsMax; ++attempt) {
    occupyAll(host, work, measurement);
    const ProcessFigures figures = ProcessFigures::now();
    held = figures.descriptors - before;
    if (held >= static_cast<std::uint64_t>(work.connections)) return figures;
  }
  throw std::runtime_error("only " + std::to_string(held) + " connections are held");
}

}  // namespace

std::string lifecycleJson(const Work& work) {
  Measurement measurement(work);
  std::int64_t beginNanos = com::orvex::Platform::monotonicNanos();
  PluginHost host(work, measurement);
  const double createMillis = millisSince(beginNanos);
  const ProcessFigures idle = holdAll(host, work, measurement);
  beginNanos = com::orvex::Platform::monotonicNanos();
  host.end();
  const double endMillis = millisSince(beginNanos);
  char text[256];
  std::snprintf(text, sizeof text,
                "{\"client\": \"lifecycle\", \"connections\": %lld, \"residentKib\": %.1f, "
                "\"createMillis\": %.3f, \"endMillis\": %.3f}",
                static_cast<long long>(work.connections),
                static_cast<double>(idle.residentBytes) / 1024, createMillis, endMillis);
  return text;
}

}  // namespace bench
