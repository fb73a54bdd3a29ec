// What looking up and inserting cost in the host's maps, of N entries whose keys are names of
// header fields. Items a second count look-ups and insertions.
//
//   mapFindByMapKey/N     one look-up of a key that is there, hashed before: how fields of a
//                         message are found
//   mapFindByValue/N      the same, and the hash of the key
//   mapFindMissing/N      one look-up of a key that is not there, hashed before
//   mapInsertByMapKey/N   building a whole map of N integers, keys copied and hashed before: how
//                         the fixed part of a response message is made
//   mapInsertByText/N     the same, and making and hashing each key: how its header fields are made
#include <benchmark/benchmark.h>

#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "bench/pieces/prepared.h"
#include "bench/pieces/samples.h"

namespace com::corvane::connectivity::plugins {
namespace {

// The names of N entries, in all the forms in which a map is asked for them.
struct Names {
  explicit Names(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      texts.push_back(pieces::headerName(i));
      keys.emplace_back(texts.back().c_str());
      missing.emplace_back(pieces::headerName(count + i).c_str());
    }
  }

  map_t map() const {
    map_t result;
    for (const MapKey& key : keys) result.insert(key, data_t(1));
    return result;
  }

  std::vector<std::string> texts;
  std::deque<MapKey> keys;
  std::deque<MapKey> missing;
};

// Looks one key after another up, again and again.
template <typename Keys, typename Asked>
void measureFind(benchmark::State& state, const Keys& keys, bool areThere, const Asked& asked) {
  const Names names(static_cast<std::size_t>(state.range(0)));
  const map_t map = names.map();
  for (const MapKey& key : keys(names)) {
    if ((map.find(asked(key)) != map.end()) != areThere) {
      return state.SkipWithError("a key is there, or not there, against expectation");
    }
  }
  auto key = keys(names).begin();
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(asked(*key)) != map.end());
    if (++key == keys(names).end()) key = keys(names).begin();
  }
  state.SetItemsProcessed(state.iterations());
}

const std::deque<MapKey>& keysThere(const Names& names) { return names.keys; }
const std::deque<MapKey>& keysMissing(const Names& names) { return names.missing; }
const MapKey& hashedKey(const MapKey& key) { return key; }
const data_t& plainKey(const MapKey& key) { return key.key(); }

void mapFindByMapKey(benchmark::State& state) { measureFind(state, keysThere, true, hashedKey); }
BENCHMARK(mapFindByMapKey)->Arg(4)->Arg(8)->Arg(32);

void mapFindByValue(benchmark::State& state) { measureFind(state, keysThere, true, plainKey); }
BENCHMARK(mapFindByValue)->Arg(4)->Arg(8)->Arg(32);

void mapFindMissing(benchmark::State& state) { measureFind(state, keysMissing, false, hashedKey); }
BENCHMARK(mapFindMissing)->Arg(4)->Arg(8)->Arg(32);

// Builds maps with `fill`.
template <typename Fill>
void measureInsert(benchmark::State& state, const Fill& fill) {
  const Names names(static_cast<std::size_t>(state.range(0)));
  map_t filled;
  fill(filled, names);
  if (filled.size() != names.keys.size()) return state.SkipWithError("entries are missing");
  pieces::measurePrepared(
      state, [] { return map_t(); },
      [&](map_t& map) {
        fill(map, names);
        benchmark::DoNotOptimize(map);
      });
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void mapInsertByMapKey(benchmark::State& state) {
  measureInsert(state, [](map_t& map, const Names& names) {
    for (const MapKey& key : names.keys) map.insert(key, data_t(1));
  });
}
BENCHMARK(mapInsertByMapKey)->Arg(4)->Arg(8)->Arg(32);

void mapInsertByText(benchmark::State& state) {
  measureInsert(state, [](map_t& map, const Names& names) {
    for (const std::string& text : names.texts) map.insert(data_t(text), data_t(1));
  });
}
BENCHMARK(mapInsertByText)->Arg(4)->Arg(8)->Arg(32);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
