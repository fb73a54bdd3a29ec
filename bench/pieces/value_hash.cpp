// What the hash of a value costs: once for each key that is placed in a map or looked up there
// without a MapKey, and once for each request with a concurrency key. A text is hashed by the host,
// here libkelhost.
//
//   valueHashOfText/N     a text of N bytes
//   valueHashOfInteger    an integer
//   valueHashOfMap        a map of eight texts by eight texts, as a concurrency key may be one
#include <benchmark/benchmark.h>

#include <string>

#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

void measureHash(benchmark::State& state, data_t value, const data_t& other) {
  const data_t same = value.copy();
  if (value.hash() != same.hash() || value.hash() == other.hash()) {
    return state.SkipWithError("the hash does not tell values apart");
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    benchmark::DoNotOptimize(value.hash());
  }
}

data_t mapOfTexts(const std::string& value) {
  map_t map;
  for (std::size_t i = 0; i < pieces::kHeaders; ++i) {
    map.insert(data_t(pieces::headerName(i)), data_t(value));
  }
  return data_t(std::move(map));
}

void valueHashOfText(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  measureHash(state, data_t(std::string(bytes, 'a')), data_t(std::string(bytes, 'b')));
}
BENCHMARK(valueHashOfText)->Arg(8)->Arg(32)->Arg(256);

void valueHashOfInteger(benchmark::State& state) { measureHash(state, data_t(4711), data_t(4712)); }
BENCHMARK(valueHashOfInteger);

void valueHashOfMap(benchmark::State& state) {
  measureHash(state, mapOfTexts("some value"), mapOfTexts("some other"));
}
BENCHMARK(valueHashOfMap);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
