// model/map.h : the host's map of values: open addressing with linear probing.
//
// Role:      finds, inserts and removes entries in a block that the host allocates and grows.
//            Start reading at locate and insertHashed.
// Threads:   one thread at a time.
// Ownership: owns its block, freed with every key and value through the host; a null block is an
//            empty map.
// Errors:    std::runtime_error "Iterator invalidated by modifying map", "Invalid comparison of
//            iterators into different maps" (see iterator_checks.h), "Cannot use custom values as a
//            key", "Cannot insert into a map that the host does not grow", "Out of bounds" for
//            the entry at an end position.
// Invariants: before an insertion takes its slot, entries plus deleted slots are at most three
//            quarters of the capacity; else the map grows first, to room for twice the entries,
//            which is less than before where most slots were deleted. Iteration is in slot order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "model/data.h"
#include "model/map_key.h"

namespace com::corvane::connectivity10_15_0 {

class map_t {
  // Of the slots without an entry, whose keys are empty. An entry may have an empty key too: its
  // hash is another one.
  static constexpr std::uint64_t kFreeHash = 0;
  static constexpr std::uint64_t kDeletedHash = 1;

  // A slot of the block, seen as values.
  struct Slot {
    std::uint64_t hash;
    data_t key;
    data_t value;
    /// Free or deleted.
    bool isVacant() const noexcept { return hash <= kDeletedHash && key.isEmpty(); }
  };
  static_assert(sizeof(Slot) == sizeof(kel_map_slot));

 public:
  /// A position: valid as long as block, capacity and entry count stay as they were; each use
  /// checks that. Where the checks are switched off, a position that is no longer valid goes on
  /// over the slots that the map has now, up to the capacity that it had, and never outside of
  /// them.
  template <bool isConst>
  class Position {
    using Owner = std::conditional_t<isConst, const map_t, map_t>;
    using Value = std::conditional_t<isConst, const data_t, data_t>;

   public:
    const data_t& key() const;
    Value& value() const;
    /// The position itself stands for the entry in a range-for.
    const Position& operator*() const { return *this; }
    Position& operator++();
    bool operator==(const Position& other) const;

   private:
    friend class map_t;
    Position(Owner* owner, std::uint64_t index);
    void check() const;
    bool isAtEnd() const { return index_ >= capacity_ || index_ >= owner_->capacity(); }
    Slot& slot() const;
    void skipUnoccupied();

    Owner* owner_;
    Slot* slots_;
    std::uint64_t capacity_;
    std::uint64_t count_;
    std::uint64_t index_;
  };
  using iterator = Position<false>;
  using const_iterator = Position<true>;

  map_t() noexcept = default;
  map_t(map_t&& other) noexcept : block_(other.release()) {}
  map_t& operator=(map_t&& other) noexcept;
  ~map_t();

  static map_t adopt(map_block* block) noexcept;
  map_block* release() noexcept { return std::exchange(block_, nullptr); }
  map_block* raw() const noexcept { return block_; }
  map_t copy() const;

  std::uint64_t size() const noexcept { return block_ == nullptr ? 0 : block_->count; }
  bool empty() const noexcept { return size() == 0; }

  iterator begin();
  iterator end();
  const_iterator begin() const;
  const_iterator end() const;

  /// The position of a key, or end(). The key is hashed once; a MapKey not at all.
  iterator find(const data_t& key);
  iterator find(const MapKey& key);
  const_iterator find(const data_t& key) const;
  const_iterator find(const MapKey& key) const;
  /// The value of a key, or null: valid until the map changes.
  data_t* valueOf(const MapKey& key);
  const data_t* valueOf(const MapKey& key) const;
  /// The same for a text; allocates a key for it.
  iterator find(const char* key);
  const_iterator find(const char* key) const;

  /// Adds an entry, or leaves the existing one of that key as it is. Returns the entry's position
  /// and whether it is new.
  std::pair<iterator, bool> insert(data_t key, data_t value);
  std::pair<iterator, bool> insert(const MapKey& key, data_t value);

  /// Removes the entry at a position and releases it; at end() nothing happens.
  void erase(iterator position);

 private:
  static constexpr std::uint64_t kNone = ~std::uint64_t{0};

  struct Located {
    std::uint64_t found = kNone;   // slot of the key
    std::uint64_t vacant = kNone;  // slot where it would go
  };

  std::uint64_t capacity() const noexcept { return block_ == nullptr ? 0 : block_->capacity; }
  Slot* slots() const noexcept;
  Located locate(const data_t& key, std::uint64_t hash) const;
  bool isKeyOf(const Slot& slot, const data_t& key) const;
  std::uint64_t indexOf(const data_t& key, std::uint64_t hash) const;
  bool hasRoom() const;
  void grow();
  std::pair<iterator, bool> insertHashed(data_t&& key, std::uint64_t hash, data_t&& value);

  map_block* block_ = nullptr;
};

extern template class map_t::Position<false>;
extern template class map_t::Position<true>;

static_assert(sizeof(map_t) == 8 && std::is_standard_layout_v<map_t>);

}  // namespace com::corvane::connectivity10_15_0
