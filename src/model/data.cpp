#include "model/data.h"

#include <cstring>
#include <stdexcept>
#include <utility>

#include "kel/host_values.h"
#include "model/buffer.h"
#include "model/custom.h"
#include "model/get.h"
#include "model/list.h"
#include "model/map.h"
#include "model/murmur_hash.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

std::uint64_t hashOfDouble(double value, std::uint64_t seed) {
  std::uint64_t bits = 0;  // also for -0.0, which is the same key as 0.0
  if (value != 0) std::memcpy(&bits, &value, sizeof(bits));
  return murmurHash64A(&bits, sizeof(bits), seed);
}

std::uint64_t hashOfList(const list_t& list) {
  std::uint64_t hash = kMapSeed;
  for (const data_t& element : list) hash = element.hash(hash);
  return hash;
}

std::uint64_t hashOfMap(const map_t& map) {
  std::uint64_t hash = kMapSeed;
  for (const auto& entry : map) hash += entry.key().hash() + entry.value().hash();
  return hash;
}

bool equalLists(const list_t& left, const list_t& right) {
  if (left.size() != right.size()) return false;
  auto other = right.begin();
  for (const data_t& element : left) {
    if (!(element == *other)) return false;
    ++other;
  }
  return true;
}

const char* labelOf(const map_t& map) { return map.raw() == nullptr ? nullptr : map.raw()->label; }

bool equalLabels(const char* left, const char* right) {
  if (left == nullptr || right == nullptr) return left == right;
  return std::strcmp(left, right) == 0;
}

bool equalMaps(const map_t& left, const map_t& right) {
  if (left.size() != right.size() || !equalLabels(labelOf(left), labelOf(right))) return false;
  for (const auto& entry : left) {
    const auto other = right.find(entry.key());
    if (other == right.end() || !(entry.value() == other.value())) return false;
  }
  return true;
}

}  // namespace

const char* typeName(std::int32_t tag) {
  constexpr const char* kNames[] = {"empty", "boolean", "double", "integer", "decimal", "string",
                                    "list",  "map",     "buffer", "custom",  "string"};
  const bool isKnown = tag >= KEL_TAG_EMPTY && tag <= KEL_TAG_BORROWED_STRING;
  return isKnown ? kNames[tag] : "Unknown";
}

data_t::data_t(orvex::decimal64 value) noexcept : data_t() {
  value_.payload.bits = value.bits();
  value_.tag = KEL_TAG_DECIMAL;
}

data_t::data_t(const char* text) : data_t() {
  if (text == nullptr) {
    throw std::runtime_error(
        "Cannot use a null char* as a data_t value (consider using an empty data_t() instead)");
  }
  value_.payload.string = kel_copy_string(text);
  value_.tag = KEL_TAG_STRING;
}

data_t::data_t(map_t&& map) noexcept : data_t() {
  value_.payload.map = map.release();
  value_.tag = KEL_TAG_MAP;
}
data_t::data_t(list_t&& list) noexcept : data_t() {
  value_.payload.list = list.release();
  value_.tag = KEL_TAG_LIST;
}
data_t::data_t(buffer_t&& buffer) noexcept : data_t() {
  value_.payload.buffer = buffer.release();
  value_.tag = KEL_TAG_BUFFER;
}
data_t::data_t(custom_t&& custom) noexcept : data_t() {
  value_.payload.custom = custom.release();
  value_.tag = KEL_TAG_CUSTOM;
}

data_t data_t::copy() const { return adopt(kel_copy_data(value_)); }

void data_t::free(kel_data& value) noexcept {
  switch (value.tag) {
    case KEL_TAG_STRING:
      kel_free_string(value.payload.string);
      break;
    case KEL_TAG_LIST:
      kel_free_vector(value.payload.list);
      break;
    case KEL_TAG_MAP:
      kel_free_map(value.payload.map);
      break;
    case KEL_TAG_BUFFER:
      kel_free_buffer(value.payload.buffer);
      break;
    case KEL_TAG_CUSTOM:
      kel_free_custom(value.payload.custom);
      break;
    default:  // nothing is owned
      break;
  }
}

std::uint64_t data_t::hash(std::uint64_t seed) const {
  switch (value_.tag) {
    case KEL_TAG_BOOLEAN:
      return value_.payload.boolean != 0 ? seed : ~seed;
    case KEL_TAG_DOUBLE:
      return hashOfDouble(value_.payload.number, seed);
    case KEL_TAG_INTEGER:
    case KEL_TAG_DECIMAL:
      return murmurHash64A(&value_.payload, sizeof(value_.payload), seed);
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      return kel_hash_string(value_.payload.string);
    case KEL_TAG_LIST:
      return hashOfList(get<list_t>(*this));
    case KEL_TAG_MAP:
      return hashOfMap(get<map_t>(*this));
    case KEL_TAG_BUFFER: {
      const auto& buffer = get<buffer_t>(*this);
      return murmurHash64A(buffer.data(), static_cast<std::size_t>(buffer.size()), kMapSeed);
    }
    case KEL_TAG_CUSTOM:
      throw std::runtime_error("Cannot use custom values as a key");
    default:
      return seed;
  }
}

bool data_t::operator==(const data_t& other) const {
  if (value_.tag != other.value_.tag) return false;
  switch (value_.tag) {
    case KEL_TAG_EMPTY:
      return true;
    case KEL_TAG_BOOLEAN:
      return value_.payload.boolean == other.value_.payload.boolean;
    case KEL_TAG_DOUBLE:
      return value_.payload.number == other.value_.payload.number;
    case KEL_TAG_INTEGER:
    case KEL_TAG_DECIMAL:
      return value_.payload.bits == other.value_.payload.bits;
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      return std::strcmp(value_.payload.string, other.value_.payload.string) == 0;
    case KEL_TAG_LIST:
      return equalLists(get<list_t>(*this), get<list_t>(other));
    case KEL_TAG_MAP:
      return equalMaps(get<map_t>(*this), get<map_t>(other));
    case KEL_TAG_BUFFER:
      return get<buffer_t>(*this).view() == get<buffer_t>(other).view();
    default:  // custom and unknown values
      return false;
  }
}

}  // namespace com::corvane::connectivity10_15_0
