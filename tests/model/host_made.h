// model/host_made.h : values that only a host makes: lists, borrowed strings, custom objects, raw
// records, maps laid out slot by slot.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "kel/host_values.h"
#include "kelhost/blocks.h"
#include "model/data.h"
#include "model/get.h"
#include "model/map.h"

namespace test_support {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::list_t;
using com::corvane::connectivity10_15_0::map_t;

inline kel_data record(std::int32_t tag, std::uint64_t bits) {
  kel_data value{};
  value.payload.bits = bits;
  value.tag = tag;
  return value;
}

inline data_t valueOf(std::int32_t tag, std::uint64_t bits = 0) {
  return data_t::adopt(record(tag, bits));
}

/// `text` must outlive the value.
inline data_t borrowed(const char* text) {
  return valueOf(KEL_TAG_BORROWED_STRING, reinterpret_cast<std::uint64_t>(text));
}

/// A list in a block of the host's: what the host makes of a list that lies in our memory.
template <typename... Elements>
data_t listOf(Elements&&... elements) {
  std::vector<data_t> owned;
  (owned.emplace_back(std::forward<Elements>(elements)), ...);
  static_assert(sizeof(list_block) == sizeof(kel_data));
  std::vector<kel_data> layout(1 + owned.size());
  auto* const block = reinterpret_cast<list_block*>(layout.data());
  *block = {owned.size(), 0};
  for (std::size_t i = 0; i < owned.size(); ++i) kelhost::elementsOf(block)[i] = owned[i].raw();
  return data_t::adopt(kel_copy_data(record(KEL_TAG_LIST, reinterpret_cast<std::uint64_t>(block))));
}

/// A map of keys and values in turn.
template <typename... Values>
map_t mapOf(Values&&... values) {
  static_assert(sizeof...(values) % 2 == 0);
  std::vector<data_t> owned;
  (owned.emplace_back(std::forward<Values>(values)), ...);
  map_t map;
  for (std::size_t i = 0; i < owned.size(); i += 2) {
    map.insert(std::move(owned[i]), std::move(owned[i + 1]));
  }
  return map;
}

inline data_t bufferOf(const std::string& bytes) {
  return com::corvane::connectivity10_15_0::buffer_t::copyOf(bytes.data(), bytes.size());
}

/// A custom object that lives in the test and tells how often it was released.
class CustomObject {
 public:
  data_t value() { return valueOf(KEL_TAG_CUSTOM, reinterpret_cast<std::uint64_t>(&object_)); }
  custom_block* block() { return &object_.block; }
  int releases() const { return object_.releases; }

 private:
  struct Object {
    custom_block block{[](custom_block* self) { ++reinterpret_cast<Object*>(self)->releases; },
                       nullptr};
    int releases = 0;
  };
  Object object_;
};

inline kel_map_slot& slotOf(const map_t& map, std::uint64_t index) {
  return kelhost::slotsOf(map.raw())[index];
}

/// The numbers of the occupied slots.
inline std::vector<std::uint64_t> occupiedSlots(const map_t& map) {
  std::vector<std::uint64_t> result;
  for (std::uint64_t i = 0; i < map.raw()->capacity; ++i) {
    if (kelhost::isOccupied(slotOf(map, i))) result.push_back(i);
  }
  return result;
}

}  // namespace test_support
