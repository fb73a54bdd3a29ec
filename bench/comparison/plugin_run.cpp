#include "bench/comparison/plugin_run.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "bench/comparison/pace.h"
#include "bench/comparison/plugin_host.h"

namespace bench {
namespace {

// An event that a host delivers has just been made. As many messages are made at once as stay near
// the processor until they are delivered, but enough that the end of a lot does not count.
std::uint64_t lotOf(const Work& work) {
  constexpr std::uint64_t kLotBytes = 24 * 1024 * 1024;
  constexpr std::uint64_t kMessageBytes = 4096;  // of one without its body
  constexpr std::uint64_t kLotMin = 64;
  if (work.rate > 0) return work.requests;  // a pace must not be interrupted
  return std::max(kLotBytes / (work.requestBytes + kMessageBytes), kLotMin);
}

}  // namespace

void runPlugin(const Work& work, Measurement& measurement) {
  PluginHost host(work, measurement);
  host.deliver(host.messages(0, work.warmUp), Pace(0));
  if (measurement.failures() != 0) throw std::runtime_error("the warm-up has failed");
  host.startRecording();
  const std::uint64_t lot = lotOf(work);
  for (std::uint64_t first = 0; first < work.requests; first += lot) {
    auto messages = host.messages(first, std::min(lot, work.requests - first));
    measurement.begin();
    host.deliver(std::move(messages), Pace(work.rate));
    measurement.end();
  }
}

}  // namespace bench
