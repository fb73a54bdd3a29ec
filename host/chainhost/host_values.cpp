#include "chainhost/host_values.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace chainhost {

namespace {

constexpr std::uint64_t kDeletedHash = 1;
constexpr std::uint64_t kNoSlot = UINT64_MAX;

kel_data record(std::int32_t tag) noexcept {
  kel_data data{};
  data.tag = tag;
  return data;
}

kel_map_slot* slotArray(map_block* block) noexcept {
  return reinterpret_cast<kel_map_slot*>(block + 1);
}

struct Lookup {
  std::uint64_t found = kNoSlot;
  std::uint64_t insertAt = kNoSlot;  // the first deleted slot passed, else the free slot met
};

Lookup lookUp(const map_block* block, const char* text, std::uint64_t hash) noexcept {
  Lookup result;
  if (block == nullptr || block->capacity == 0) {
    return result;
  }
  const auto all = slots(block);
  const std::uint64_t start = hash % block->capacity;
  std::uint64_t index = start;
  do {
    const kel_map_slot& slot = all[index];
    if (isOccupied(slot)) {
      if (slot.hash == hash && slot.key.tag == KEL_TAG_STRING &&
          std::strcmp(slot.key.payload.string, text) == 0) {
        result.found = index;
        return result;
      }
    } else {
      if (result.insertAt == kNoSlot) {
        result.insertAt = index;
      }
      if (slot.hash != kDeletedHash) {
        return result;
      }
    }
    index = index + 1 == block->capacity ? 0 : index + 1;
  } while (index != start);
  return result;
}

bool hasRoom(const map_block* block) noexcept {
  return block != nullptr && static_cast<double>(block->count + block->deleted) <=
                                 static_cast<double>(block->capacity) * 0.75;
}

}  // namespace

void releaseData(const kel_data& data) noexcept {
  switch (data.tag) {
    case KEL_TAG_STRING:
      kel_free_string(data.payload.string);
      break;
    case KEL_TAG_LIST:
      kel_free_vector(data.payload.list);
      break;
    case KEL_TAG_MAP:
      kel_free_map(data.payload.map);
      break;
    case KEL_TAG_BUFFER:
      kel_free_buffer(data.payload.buffer);
      break;
    case KEL_TAG_CUSTOM:
      kel_free_custom(data.payload.custom);
      break;
    default:
      break;
  }
}

void releaseMessage(kel_message& message) noexcept {
  releaseData(std::exchange(message.payload, kel_data{}));
  kel_free_map(std::exchange(message.metadata, nullptr));
}

Value Value::boolean(bool value) noexcept {
  kel_data data = record(KEL_TAG_BOOLEAN);
  data.payload.boolean = value ? 1 : 0;
  return Value(data);
}

Value Value::integer(std::int64_t value) noexcept {
  kel_data data = record(KEL_TAG_INTEGER);
  data.payload.integer = value;
  return Value(data);
}

Value Value::number(double value) noexcept {
  kel_data data = record(KEL_TAG_DOUBLE);
  data.payload.number = value;
  return Value(data);
}

Value Value::decimal(std::uint64_t bits) noexcept {
  kel_data data = record(KEL_TAG_DECIMAL);
  data.payload.bits = bits;
  return Value(data);
}

Value Value::text(const char* text) {
  kel_data data = record(KEL_TAG_STRING);
  data.payload.string = kel_copy_string(text);
  return Value(data);
}

Value Value::buffer(std::string_view bytes) {
  kel_data data = record(KEL_TAG_BUFFER);
  data.payload.buffer = kel_allocate_buffer(bytes.size());
  if (!bytes.empty()) {
    std::memcpy(data.payload.buffer + 1, bytes.data(), bytes.size());
  }
  return Value(data);
}

Value Value::map(Map&& map) noexcept {
  kel_data data = record(KEL_TAG_MAP);
  data.payload.map = map.release();
  return Value(data);
}

Value Value::list(const std::vector<Value>& elements) {
  static_assert(sizeof(Value) == sizeof(kel_data) && sizeof(list_block) % sizeof(kel_data) == 0);
  // The host offers no list of its own making, so one is laid out here and copied by the host.
  std::vector<kel_data> layout(1 + elements.size());
  const list_block header{elements.size(), 0};
  std::memcpy(layout.data(), &header, sizeof header);
  std::transform(elements.begin(), elements.end(), layout.begin() + 1,
                 [](const Value& element) { return element.raw(); });
  kel_data data = record(KEL_TAG_LIST);
  data.payload.list = reinterpret_cast<list_block*>(layout.data());
  return Value(kel_copy_data(data));
}

bool Map::insert(const char* key, Value value) {
  const std::uint64_t hash = kel_hash_string(key);
  Lookup place = lookUp(block_, key, hash);
  if (place.found != kNoSlot) {
    return false;
  }
  for (int growths = 0; place.insertAt == kNoSlot || !hasRoom(block_); ++growths) {
    if (growths == 2) {
      throw std::runtime_error("the host's map does not grow");
    }
    block_ = block_ == nullptr
                 ? kel_allocate_map(8)
                 : kel_reallocate_map(block_, std::max<std::uint64_t>(8, 2 * block_->count + 2));
    place = lookUp(block_, key, hash);
  }
  Value keyValue = Value::text(key);
  kel_map_slot& slot = slotArray(block_)[place.insertAt];
  block_->count += 1;
  slot.hash = hash;
  slot.key = keyValue.release();
  slot.value = value.release();
  return true;
}

const kel_data* Map::find(const char* key) const { return chainhost::find(block_, TextKey(key)); }

std::span<const kel_map_slot> slots(const map_block* block) noexcept {
  if (block == nullptr) {
    return {};
  }
  return {reinterpret_cast<const kel_map_slot*>(block + 1), block->capacity};
}

const kel_data* find(const map_block* block, const TextKey& key) noexcept {
  const Lookup place = lookUp(block, key.text(), key.hash());
  return place.found == kNoSlot ? nullptr : &slots(block)[place.found].value;
}

std::span<const kel_data> elements(const list_block* block) noexcept {
  if (block == nullptr) {
    return {};
  }
  return {reinterpret_cast<const kel_data*>(block + 1), block->count};
}

std::string_view bytes(const buffer_block* block) noexcept {
  if (block == nullptr) {
    return {};
  }
  return {reinterpret_cast<const char*>(block + 1), block->length};
}

}  // namespace chainhost
