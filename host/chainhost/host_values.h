// chainhost/host_values.h : builds and reads the values that cross the plugin boundary.
//
// Role:      owning handles over the C records of kel/types.h; all memory comes from the host's
//            functions of kel/host_values.h. Reading is by free functions over the raw blocks,
//            because what a plugin hands back is borrowed.
// Threads:   caller locks; one value belongs to one thread at a time.
// Ownership: Value and Map own what they hold; release() hands it over.
// Errors:    std::bad_alloc from the host's allocations.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "kel/host_values.h"
#include "kel/types.h"

namespace chainhost {

// Releases what an owned record points to.
void releaseData(const kel_data& data) noexcept;

// Releases payload and metadata and leaves the message empty.
void releaseMessage(kel_message& message) noexcept;

class Map;

// One owned value; born "empty". Move-only.
class Value {
 public:
  Value() noexcept = default;
  Value(Value&& other) noexcept : data_(other.release()) {}
  Value& operator=(Value&& other) noexcept {
    std::swap(data_, other.data_);
    return *this;
  }
  ~Value() { releaseData(data_); }

  static Value adopt(const kel_data& owned) noexcept { return Value(owned); }
  static Value boolean(bool value) noexcept;
  static Value integer(std::int64_t value) noexcept;
  static Value number(double value) noexcept;
  static Value decimal(std::uint64_t bits) noexcept;
  // A copy of a text. REQUIRES: not null, NUL-terminated.
  static Value text(const char* text);
  // A copy of the bytes; no bytes give a block of length 0.
  static Value buffer(std::string_view bytes);
  static Value map(Map&& map) noexcept;
  // The elements stay the caller's: the host makes the list as a deep copy.
  static Value list(const std::vector<Value>& elements);

  const kel_data& raw() const noexcept { return data_; }
  std::int32_t tag() const noexcept { return data_.tag; }
  // Hands the record over and leaves this value empty.
  kel_data release() noexcept { return std::exchange(data_, kel_data{}); }

 private:
  explicit Value(const kel_data& owned) noexcept : data_(owned) {}

  kel_data data_{};
};

// A text with its hash made once, for look-ups that repeat. The text must outlive the key.
class TextKey {
 public:
  explicit TextKey(const char* text) : text_(text), hash_(kel_hash_string(text)) {}

  const char* text() const noexcept { return text_; }
  std::uint64_t hash() const noexcept { return hash_; }

 private:
  const char* text_;
  std::uint64_t hash_;
};

// An owned map with text keys; born without a block.
class Map {
 public:
  Map() noexcept = default;
  explicit Map(map_block* owned) noexcept : block_(owned) {}
  Map(Map&& other) noexcept : block_(other.release()) {}
  Map& operator=(Map&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Map() { kel_free_map(block_); }

  // Adds an entry; grows by the rule that every user of the map layout follows: at most three
  // quarters of the slots in use, else max(8, 2 * entries + 2) slots.
  // False: the key is there already, and nothing has changed.
  bool insert(const char* key, Value value);

  // The value of an owned text key, or null. Valid until the next insertion.
  const kel_data* find(const char* key) const;

  std::uint64_t size() const noexcept { return block_ == nullptr ? 0 : block_->count; }
  const map_block* raw() const noexcept { return block_; }
  // Hands the block over (null: empty map) and leaves this map empty.
  map_block* release() noexcept { return std::exchange(block_, nullptr); }

 private:
  map_block* block_ = nullptr;
};

// ---- Reading borrowed blocks. A null block is empty.

// All slots in order, unoccupied ones included.
std::span<const kel_map_slot> slots(const map_block* block) noexcept;

// True unless the slot is free or deleted.
inline bool isOccupied(const kel_map_slot& slot) noexcept {
  return slot.hash >= 2 || slot.key.tag != KEL_TAG_EMPTY;
}

// The value of an owned text key, or null.
const kel_data* find(const map_block* block, const TextKey& key) noexcept;

std::span<const kel_data> elements(const list_block* block) noexcept;

std::string_view bytes(const buffer_block* block) noexcept;

// True for owned and borrowed strings.
inline bool isText(const kel_data& data) noexcept {
  return data.tag == KEL_TAG_STRING || data.tag == KEL_TAG_BORROWED_STRING;
}

}  // namespace chainhost
