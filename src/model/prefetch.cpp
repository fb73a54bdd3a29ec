#include "model/prefetch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace com::corvane::connectivity10_15_0 {
namespace {

constexpr std::size_t kLineBytes = 64;
constexpr int kDepthMax = 3;         // the metadata, "http" in it, the headers in that
constexpr std::size_t kMapsMax = 4;  // of one map
constexpr std::uint64_t kSlotsMax = 64;

void fetch(const void* begin, std::size_t bytes) {
  const auto* const first = static_cast<const char*>(begin);
  for (std::size_t i = 0; i < bytes; i += kLineBytes) __builtin_prefetch(first + i);
}

// Of most maps all: they have eight slots.
void fetchBlock(const map_block* map) {
  if (map != nullptr) fetch(map, sizeof(map_block) + 8 * sizeof(kel_map_slot));
}

// What the slots point to, and then what the maps among that point to.
void fetchValues(const map_block* map, int depth) {
  if (map == nullptr) return;
  const auto* const slots = reinterpret_cast<const kel_map_slot*>(map + 1);
  std::array<const map_block*, kMapsMax> maps;
  std::size_t count = 0;
  for (std::uint64_t i = 0; i < std::min(map->capacity, kSlotsMax); ++i) {
    const auto& [hash, key, value] = slots[i];
    if (hash <= 1 && key.tag == KEL_TAG_EMPTY) continue;  // free or deleted: may hold anything
    if (key.tag == KEL_TAG_STRING) __builtin_prefetch(key.payload.string);
    if (value.tag == KEL_TAG_STRING) __builtin_prefetch(value.payload.string);
    if (value.tag != KEL_TAG_MAP || count == kMapsMax || depth == kDepthMax) continue;
    fetchBlock(value.payload.map);
    maps[count++] = value.payload.map;
  }
  for (std::size_t i = 0; i < count; ++i) fetchValues(maps[i], depth + 1);
}

}  // namespace

void prefetch(const Message& message) noexcept {
  constexpr std::size_t kBytesMax = 1024;  // more is read in order, which the processor foresees
  fetchBlock(message.metadata.raw());
  const kel_data& payload = message.payload.raw();
  if (payload.tag == KEL_TAG_BUFFER) fetch(payload.payload.buffer, kBytesMax);
  fetchValues(message.metadata.raw(), 1);
}

}  // namespace com::corvane::connectivity10_15_0
