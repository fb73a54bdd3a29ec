// pieces/prepared.h : measures what uses its input up, or leaves a result to release.
//
// Threads:   one.
#pragma once

#include <benchmark/benchmark.h>

#include <vector>

namespace pieces {

/// Runs `use` on one item of `prepare` an iteration. Making the items and releasing them, with
/// whatever `use` has put into them, is not measured. They are made by the batch, because stopping
/// the clock takes longer than what is measured; the batch is small, so that the items stay in the
/// processor's caches.
template <typename Prepare, typename Use>
void measurePrepared(benchmark::State& state, const Prepare& prepare, const Use& use) {
  constexpr int kBatch = 32;
  std::vector<decltype(prepare())> items;
  items.reserve(kBatch);
  while (state.KeepRunningBatch(kBatch)) {
    state.PauseTiming();
    items.clear();
    for (int i = 0; i < kBatch; ++i) items.push_back(prepare());
    state.ResumeTiming();
    for (auto& item : items) use(item);
    benchmark::ClobberMemory();
  }
}

}  // namespace pieces
