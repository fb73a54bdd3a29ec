// What handing one item over through the queue costs while all of N consumers wait: the next item
// is added once every consumer waits again, as where requests are rare. Time is what passes from
// adding the item until the producer knows that it has been taken. `cpu` is the processor time, in
// seconds, that all threads use for the item until they wait again; the column CPU is the
// producer's alone, most of it for looking whether they do. `waits` is how often a consumer begins
// to wait: 1 an item where none is woken in vain and none has to wait for the queue's mutex.
//
//   queueHandOver/N        to whoever takes it
//   queueHandOverKeyed/N   to one of the consumers, which the item's key names
#include "transport/affinity_queue.h"

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstdint>
#include <optional>

#include "bench/pieces/consumers.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {
namespace {

// The same number in short forms and long ones: time passes that the library does not know of.
constexpr int kItems = 200;

double cpuSeconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The processor time of a number of items, without what the producer does between them.
class ItemCpu {
 public:
  void beginItem() { itemBegin_ = cpuSeconds(CLOCK_THREAD_CPUTIME_ID); }
  void endItem() { producer_ += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - itemBegin_; }

  /// REQUIRES: the consumers are idle.
  double seconds() const { return consumers() - consumersBegin_ + producer_; }

 private:
  static double consumers() {
    return cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
  }

  const double consumersBegin_ = consumers();
  double itemBegin_ = 0;
  double producer_ = 0;
};

// Returns the number of items taken by the first consumer but for the one of the beginning.
std::uint64_t measureHandOver(benchmark::State& state, std::optional<std::uint64_t> keyHash) {
  const auto consumers = static_cast<std::size_t>(state.range(0));
  const connectivity10_15_0::Logger log("pieces");
  AffinityQueue queue(consumers, log);
  pieces::Consumers threads(queue);
  threads.awaitIdle();
  const std::int64_t waitsBefore = pieces::Consumers::waits();
  ItemCpu cpu;
  for (auto _ : state) {
    const double start = orvex::Platform::relativeHighResTimeFloat();
    cpu.beginItem();
    threads.hand(keyHash);
    cpu.endItem();
    state.SetIterationTime(orvex::Platform::relativeHighResTimeFloat() - start);
    threads.awaitIdle();
  }
  const auto waits = static_cast<double>(pieces::Consumers::waits() - waitsBefore);
  state.counters["waits"] = benchmark::Counter(waits, benchmark::Counter::kAvgIterations);
  state.counters["cpu"] = benchmark::Counter(cpu.seconds(), benchmark::Counter::kAvgIterations);
  if (threads.takenByAll() != consumers + static_cast<std::uint64_t>(state.iterations())) {
    state.SkipWithError("items were lost, or taken twice");
  }
  return threads.takenBy(0) - 1;
}

void ofConsumers(benchmark::internal::Benchmark* benchmark) {
  for (const int consumers : {1, 8, 32, 128}) benchmark->Arg(consumers);
  benchmark->Iterations(kItems)->UseManualTime();
}

void queueHandOver(benchmark::State& state) { measureHandOver(state, std::nullopt); }
BENCHMARK(queueHandOver)->Apply(ofConsumers);

void queueHandOverKeyed(benchmark::State& state) {
  if (measureHandOver(state, 0) != static_cast<std::uint64_t>(state.iterations())) {
    state.SkipWithError("another consumer has taken what the key gives to the first");
  }
}
BENCHMARK(queueHandOverKeyed)->Apply(ofConsumers);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
