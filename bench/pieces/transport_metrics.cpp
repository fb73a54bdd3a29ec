// What the figures of a request cost, from the plugin's calculation to the host's display
// (libkelhost), which is called when a text has changed. One thread, so that nobody waits for a
// lock.
//
//   metricsOfARequest/N      all that a worker of N records for one request that succeeds
//   metricsLatency           its parts: the averages of latencies, in milliseconds that differ
//   metricsRequestSize       averages and maximum of sizes that differ
//   metricsResponseSize      the same
//   metricsCountResponse     one response more
//   metricsUtilization/N     which part of the time N workers are busy; every millisecond at the
//                            most, so that usually only the clock is read
//   metricsQueueSize         a number of waiting requests that differs from the last one
//   metricsOnline            the status, which is as it was
#include "metrics/transport_metrics.h"

#include <benchmark/benchmark.h>

#include <deque>
#include <map>
#include <string>

#include "kel/host_control.h"
#include "runtime/manual_clock.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr char kUtilization[] = ".concurrencyUtilizationPercent";

// The figures of a transport, and what the host shows of them.
class ShownMetrics {
 public:
  explicit ShownMetrics(std::size_t clients) : metrics_(reporter_, "chain", "pieces", clients) {}

  TransportMetrics& metrics() { return metrics_; }

  /// What the host shows under a suffix; "" for none.
  std::string shown(const std::string& suffix) const {
    std::map<std::string, std::string> items;
    kel_host_visit_status(kHandle, &ShownMetrics::keep, &items);
    return items["chain.pieces" + suffix];
  }

 private:
  static void keep(void* items, const kel_host_status_item* item) {
    (*static_cast<std::map<std::string, std::string>*>(items))[item->key] = item->value;
  }

  static constexpr void* kHandle = nullptr;

  connectivity10_15_0::StatusReporter reporter_{kHandle};
  TransportMetrics metrics_;
};

// A small number that differs from call to call.
std::uint64_t nextSample(std::uint64_t& last) { return last = (last + 397) % 1000; }

// Records a sample an iteration. The item of this suffix has to show something else than at first.
template <typename Record>
void measureRecord(benchmark::State& state, std::size_t clients, const char* suffix,
                   const Record& record) {
  ShownMetrics figures(clients);
  const std::string before = figures.shown(suffix);
  std::uint64_t sample = 0;
  record(figures.metrics(), nextSample(sample));
  if (before.empty() || figures.shown(suffix) == before) {
    return state.SkipWithError("the host does not show the figure");
  }
  for (auto _ : state) record(figures.metrics(), nextSample(sample));
}

std::size_t clientsOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

void metricsOfARequest(benchmark::State& state) {
  const auto record = [](TransportMetrics& metrics, std::uint64_t sample) {
    const BusyScope busy(metrics.busyRecord(), 0);
    metrics.publishQueueSize([&] { return sample; });
    metrics.recordRequestSize(sample);
    metrics.setOnline();
    metrics.recordLatency(static_cast<double>(sample) / 1000);
    metrics.recordResponseSize(sample);
    metrics.countResponse(200);
    metrics.publishUtilization();
  };
  measureRecord(state, clientsOf(state), ".responsesTowardsHost", record);
}
BENCHMARK(metricsOfARequest)->Arg(1)->Arg(8)->Arg(128);

void metricsLatency(benchmark::State& state) {
  measureRecord(state, 1, ".requestLatencyEWMAShortMillis", [](TransportMetrics& metrics, auto n) {
    metrics.recordLatency(static_cast<double>(n) / 1000);
  });
}
BENCHMARK(metricsLatency);

void metricsRequestSize(benchmark::State& state) {
  measureRecord(state, 1, ".requestSizeEWMALongBytes",
                [](TransportMetrics& metrics, auto n) { metrics.recordRequestSize(n); });
}
BENCHMARK(metricsRequestSize);

void metricsResponseSize(benchmark::State& state) {
  measureRecord(state, 1, ".responseSizeEWMALongBytes",
                [](TransportMetrics& metrics, auto n) { metrics.recordResponseSize(n); });
}
BENCHMARK(metricsResponseSize);

void metricsCountResponse(benchmark::State& state) {
  measureRecord(state, 1, ".responsesTowardsHost",
                [](TransportMetrics& metrics, auto) { metrics.countResponse(200); });
}
BENCHMARK(metricsCountResponse);

// With every worker busy for the whole of a window.
bool showsUtilization(std::size_t clients) {
  orvex::ManualClockForTest clock;
  ShownMetrics figures(clients);
  std::deque<BusyScope> busy;
  for (std::size_t i = 0; i < clients; ++i) busy.emplace_back(figures.metrics().busyRecord(), i);
  clock.advanceMs(2);
  figures.metrics().publishUtilization();
  return figures.shown(kUtilization) == "100";
}

void metricsUtilization(benchmark::State& state) {
  if (!showsUtilization(clientsOf(state))) {
    return state.SkipWithError("the host does not show the figure");
  }
  ShownMetrics figures(clientsOf(state));
  for (auto _ : state) figures.metrics().publishUtilization();
}
BENCHMARK(metricsUtilization)->Arg(1)->Arg(8)->Arg(128);

void metricsQueueSize(benchmark::State& state) {
  measureRecord(state, 1, ".queueSize", [](TransportMetrics& metrics, auto n) {
    metrics.publishQueueSize([&] { return n; });
  });
}
BENCHMARK(metricsQueueSize);

void metricsOnline(benchmark::State& state) {
  measureRecord(state, 1, ".status", [](TransportMetrics& metrics, auto) { metrics.setOnline(); });
}
BENCHMARK(metricsOnline);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
