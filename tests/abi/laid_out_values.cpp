#include "abi/laid_out_values.h"

#include <algorithm>
#include <cstring>

#include "kel/host_values.h"

namespace test_support {

namespace {

// A block of so many bytes. The boundary has no function that makes lists or custom objects: they
// are the host's own, which does not mind what its blocks were made for.
void* blockOf(std::size_t bytes) {
  return kel_allocate_buffer(std::max(bytes, sizeof(buffer_block)) - sizeof(buffer_block));
}

}  // namespace

kel_data rawValue(std::int32_t tag, std::uint64_t bits) {
  kel_data value{};
  value.payload.bits = bits;
  value.tag = tag;
  return value;
}

kel_data integerValue(std::int64_t value) {
  return rawValue(KEL_TAG_INTEGER, static_cast<std::uint64_t>(value));
}

kel_data doubleValue(double number) {
  kel_data value = rawValue(KEL_TAG_DOUBLE, 0);
  value.payload.number = number;
  return value;
}

kel_data textValue(const char* text) {
  kel_data value = rawValue(KEL_TAG_STRING, 0);
  value.payload.string = kel_copy_string(text);
  return value;
}

kel_data bufferValue(std::string_view bytes) {
  kel_data value = rawValue(KEL_TAG_BUFFER, 0);
  value.payload.buffer = kel_allocate_buffer(bytes.size());
  std::memcpy(value.payload.buffer + 1, bytes.data(), bytes.size());
  return value;
}

kel_data listValue(std::initializer_list<kel_data> elements) {
  kel_data value = rawValue(KEL_TAG_LIST, 0);
  value.payload.list =
      static_cast<list_block*>(blockOf(sizeof(list_block) + elements.size() * sizeof(kel_data)));
  value.payload.list->count = elements.size();
  std::copy(elements.begin(), elements.end(), reinterpret_cast<kel_data*>(value.payload.list + 1));
  return value;
}

kel_data mapValue(std::initializer_list<std::pair<const char*, kel_data>> entries) {
  kel_data value = rawValue(KEL_TAG_MAP, 0);
  map_block* const map = kel_allocate_map(2 * entries.size() + 1);
  value.payload.map = map;
  auto* const slots = reinterpret_cast<kel_map_slot*>(map + 1);
  for (const auto& [key, entry] : entries) {
    const std::uint64_t hash = kel_hash_string(key);
    std::uint64_t index = hash % map->capacity;
    while (slots[index].key.tag != KEL_TAG_EMPTY) index = (index + 1) % map->capacity;
    slots[index] = {hash, textValue(key), entry};
    ++map->count;
  }
  return value;
}

kel_data customValue() {
  kel_data value = rawValue(KEL_TAG_CUSTOM, 0);
  value.payload.custom = static_cast<custom_block*>(blockOf(0));
  return value;
}

}  // namespace test_support
