#include "model/map.h"

#include <algorithm>
#include <stdexcept>

#include "kel/host_values.h"
#include "model/iterator_checks.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

constexpr std::uint64_t kLeastCapacity = 8;
constexpr double kMostLoad = 0.75;

// Where the search for a hash begins: the remainder, which for most capacities needs no division.
std::uint64_t placeOf(std::uint64_t hash, std::uint64_t capacity) {
  return (capacity & (capacity - 1)) == 0 ? hash & (capacity - 1) : hash % capacity;
}

}  // namespace

map_t& map_t::operator=(map_t&& other) noexcept {
  kel_free_map(std::exchange(block_, other.release()));
  return *this;
}

map_t::~map_t() { kel_free_map(block_); }

map_t map_t::adopt(map_block* block) noexcept {
  map_t result;
  result.block_ = block;
  return result;
}

map_t map_t::copy() const {
  kel_data whole{};
  whole.tag = KEL_TAG_MAP;
  whole.payload.map = block_;
  return adopt(kel_copy_data(whole).payload.map);
}

map_t::Slot* map_t::slots() const noexcept {
  return block_ == nullptr ? nullptr : reinterpret_cast<Slot*>(block_ + 1);
}

map_t::iterator map_t::begin() {
  iterator position(this, 0);
  position.skipUnoccupied();
  return position;
}
map_t::iterator map_t::end() { return {this, capacity()}; }

map_t::const_iterator map_t::begin() const {
  const_iterator position(this, 0);
  position.skipUnoccupied();
  return position;
}
map_t::const_iterator map_t::end() const { return {this, capacity()}; }

map_t::Located map_t::locate(const data_t& key, std::uint64_t hash) const {
  Located result;
  const std::uint64_t end = capacity();
  if (end == 0) return result;
  const Slot* const all = slots();
  const std::uint64_t start = placeOf(hash, end);
  std::uint64_t index = start;
  do {
    const Slot& slot = all[index];
    if (slot.isVacant()) {
      if (result.vacant == kNone) result.vacant = index;
      if (slot.hash == kFreeHash) return result;
    } else if (slot.hash == hash && isKeyOf(slot, key)) {
      result.found = index;
      return result;
    }
    if (++index == end) index = 0;
  } while (index != start);
  return result;
}

// Comparing keys that are containers has the host compute hashes, which may change the map.
bool map_t::isKeyOf(const Slot& slot, const data_t& key) const {
  if (key.isString()) return slot.key == key;
  const const_iterator position(this, 0);
  const bool isEqual = slot.key == key;
  position.check();
  return isEqual;
}

std::uint64_t map_t::indexOf(const data_t& key, std::uint64_t hash) const {
  const std::uint64_t found = locate(key, hash).found;
  return found == kNone ? capacity() : found;
}

map_t::iterator map_t::find(const data_t& key) { return {this, indexOf(key, key.hash())}; }
map_t::iterator map_t::find(const MapKey& key) { return {this, indexOf(key.key(), key.hash())}; }
map_t::iterator map_t::find(const char* key) { return find(data_t(key)); }
data_t* map_t::valueOf(const MapKey& key) {
  const std::uint64_t found = locate(key.key(), key.hash()).found;
  return found == kNone ? nullptr : &slots()[found].value;
}
const data_t* map_t::valueOf(const MapKey& key) const {
  return const_cast<map_t*>(this)->valueOf(key);
}
map_t::const_iterator map_t::find(const data_t& key) const {
  return {this, indexOf(key, key.hash())};
}
map_t::const_iterator map_t::find(const MapKey& key) const {
  return {this, indexOf(key.key(), key.hash())};
}
map_t::const_iterator map_t::find(const char* key) const { return find(data_t(key)); }

bool map_t::hasRoom() const {
  return static_cast<double>(block_->count + block_->deleted) <=
         static_cast<double>(block_->capacity) * kMostLoad;
}

void map_t::grow() {
  block_ = block_ == nullptr
               ? kel_allocate_map(kLeastCapacity)
               : kel_reallocate_map(block_, std::max(kLeastCapacity, 2 * block_->count + 2));
}

std::pair<map_t::iterator, bool> map_t::insertHashed(data_t&& key, std::uint64_t hash,
                                                     data_t&& value) {
  // One growth makes room, if the host clears deleted slots; a host that does not may need two.
  constexpr int kGrowthsMax = 2;
  Located located = locate(key, hash);
  for (int growths = 0; located.found == kNone; ++growths) {
    if (located.vacant != kNone && hasRoom()) {
      Slot& slot = slots()[located.vacant];
      ++block_->count;
      slot.hash = hash;
      slot.key = std::move(key);
      slot.value = std::move(value);
      return {iterator(this, located.vacant), true};
    }
    if (growths == kGrowthsMax) {
      throw std::runtime_error("Cannot insert into a map that the host does not grow");
    }
    grow();
    located = locate(key, hash);
  }
  return {iterator(this, located.found), false};
}

std::pair<map_t::iterator, bool> map_t::insert(data_t key, data_t value) {
  const std::uint64_t hash = key.hash();
  return insertHashed(std::move(key), hash, std::move(value));
}

std::pair<map_t::iterator, bool> map_t::insert(const MapKey& key, data_t value) {
  return insertHashed(data_t(key.text()), key.hash(), std::move(value));
}

void map_t::erase(iterator position) {
  if (position == end()) return;
  Slot& slot = position.slot();
  if (slot.isVacant()) return;  // emptied through another position
  map_block& block = *position.owner_->block_;
  const data_t key = std::move(slot.key);
  const data_t value = std::move(slot.value);
  slot.hash = kDeletedHash;
  --block.count;
  ++block.deleted;
}

template <bool isConst>
map_t::Position<isConst>::Position(Owner* owner, std::uint64_t index)
    : owner_(owner),
      slots_(owner->slots()),
      capacity_(owner->capacity()),
      count_(owner->size()),
      index_(index) {}

template <bool isConst>
void map_t::Position<isConst>::check() const {
  if (slots_ == owner_->slots() && capacity_ == owner_->capacity() && count_ == owner_->size()) {
    return;
  }
  iterator_checks::fail(iterator_checks::kMapModified);
}

template <bool isConst>
map_t::Slot& map_t::Position<isConst>::slot() const {
  check();
  if (isAtEnd()) throw std::runtime_error("Out of bounds");
  return owner_->slots()[index_];
}

template <bool isConst>
void map_t::Position<isConst>::skipUnoccupied() {
  const Slot* const slots = owner_->slots();
  while (!isAtEnd() && slots[index_].isVacant()) ++index_;
}

template <bool isConst>
const data_t& map_t::Position<isConst>::key() const {
  return slot().key;
}

template <bool isConst>
typename map_t::Position<isConst>::Value& map_t::Position<isConst>::value() const {
  return slot().value;
}

template <bool isConst>
map_t::Position<isConst>& map_t::Position<isConst>::operator++() {
  check();
  ++index_;
  skipUnoccupied();
  return *this;
}

template <bool isConst>
bool map_t::Position<isConst>::operator==(const Position& other) const {
  if (owner_ != other.owner_) iterator_checks::fail(iterator_checks::kDifferentMaps);
  check();
  other.check();
  return index_ == other.index_ || (isAtEnd() && other.isAtEnd());
}

template class map_t::Position<false>;
template class map_t::Position<true>;

}  // namespace com::corvane::connectivity10_15_0
