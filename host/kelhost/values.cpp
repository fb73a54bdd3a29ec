// kelhost/values.cpp : the memory of values: allocation, copies, release,
// hashes of texts.
#include "kel/host_values.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "kelhost/blocks.h"

using namespace kelhost;

namespace {

// A zeroed block of a header and `count` elements.
void* allocateBlock(std::size_t headerBytes, std::uint64_t count, std::size_t elementBytes) {
  if (count > (std::numeric_limits<std::size_t>::max() - headerBytes) / elementBytes) {
    throw std::bad_alloc();
  }
  const std::size_t bytes = headerBytes + count * elementBytes;
  // The C library gives blocks of up to this size from the thread's own stock, but not to calloc.
  constexpr std::size_t kStockBytesMax = 1024;
  const bool isSmall = bytes <= kStockBytesMax;
  void* const block = isSmall ? std::malloc(bytes) : std::calloc(1, bytes);
  if (block == nullptr) throw std::bad_alloc();
  if (isSmall) {  // in two parts: compilers turn malloc and one memset into calloc
    std::memset(block, 0, headerBytes);
    std::memset(static_cast<char*>(block) + headerBytes, 0, bytes - headerBytes);
  }
  return block;
}

void freeValue(kel_data& value) {
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

// Owns what has been copied so far, until the copy is whole.
template <typename Block, void (*release)(Block*)>
class Partial {
 public:
  explicit Partial(Block* block) : block_(block) {}
  ~Partial() { release(block_); }
  Partial(const Partial&) = delete;
  Partial& operator=(const Partial&) = delete;
  Block* operator->() const { return block_; }
  Block* get() const { return block_; }
  Block* take() {
    Block* const block = block_;
    block_ = nullptr;
    return block;
  }

 private:
  Block* block_;
};

list_block* copyList(const list_block* source) {
  if (source == nullptr) return nullptr;
  Partial<list_block, kel_free_vector> copy(
      static_cast<list_block*>(allocateBlock(sizeof(list_block), source->count, sizeof(kel_data))));
  copy->host_word = source->host_word;
  for (; copy->count < source->count; ++copy->count) {
    elementsOf(copy.get())[copy->count] = kel_copy_data(elementsOf(source)[copy->count]);
  }
  return copy.take();
}

map_block* copyMap(const map_block* source) {
  if (source == nullptr) return nullptr;
  Partial<map_block, kel_free_map> copy(kel_allocate_map(source->capacity));
  copy->label = source->label;
  copy->deleted = source->deleted;
  for (std::uint64_t i = 0; i < source->capacity; ++i) {
    const kel_map_slot& from = slotsOf(source)[i];
    kel_map_slot& to = slotsOf(copy.get())[i];
    to.hash = from.hash;
    if (!isOccupied(from)) continue;
    to.key = kel_copy_data(from.key);
    to.value = kel_copy_data(from.value);
    ++copy->count;
  }
  return copy.take();
}

buffer_block* copyBuffer(const buffer_block* source) {
  if (source == nullptr) return nullptr;
  buffer_block* const copy = kel_allocate_buffer(source->length);
  std::memcpy(bytesOf(copy), bytesOf(source), source->length);
  return copy;
}

// The first free slot from the hash's own on. REQUIRES: there is one.
kel_map_slot& freeSlot(map_block* map, std::uint64_t hash) {
  std::uint64_t index = hash % map->capacity;
  while (isOccupied(slotsOf(map)[index])) index = index + 1 == map->capacity ? 0 : index + 1;
  return slotsOf(map)[index];
}

}  // namespace

extern "C" {

kel_data kel_copy_data(kel_data value) {
  switch (value.tag) {
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      value.payload.string = kel_copy_string(value.payload.string);
      value.tag = KEL_TAG_STRING;
      break;
    case KEL_TAG_LIST:
      value.payload.list = copyList(value.payload.list);
      break;
    case KEL_TAG_MAP:
      value.payload.map = copyMap(value.payload.map);
      break;
    case KEL_TAG_BUFFER:
      value.payload.buffer = copyBuffer(value.payload.buffer);
      break;
    case KEL_TAG_CUSTOM:
      if (value.payload.custom == nullptr || value.payload.custom->copy == nullptr) {
        value = kel_data{};
      } else {
        value.payload.custom = value.payload.custom->copy(value.payload.custom);
      }
      break;
    default:
      break;
  }
  return value;
}

char* kel_copy_string(const char* text) {
  const std::size_t bytes = std::strlen(text) + 1;
  char* const copy = static_cast<char*>(std::malloc(bytes));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text, bytes);
  return copy;
}

void kel_free_string(char* text) { std::free(text); }

// FNV-1a (Fowler, Noll, Vo), then the finalizer of MurmurHash3 so that short
// texts differ in their low bits, which choose the slot.
uint64_t kel_hash_string(const char* text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (; *text != '\0'; ++text) {
    hash ^= static_cast<unsigned char>(*text);
    hash *= 0x100000001B3;
  }
  hash ^= hash >> 33;
  hash *= 0xFF51AFD7ED558CCD;
  hash ^= hash >> 33;
  hash *= 0xC4CEB9FE1A85EC53;
  hash ^= hash >> 33;
  return hash > 1 ? hash : hash + 2;
}

map_block* kel_allocate_map(uint64_t capacity) {
  auto* const map =
      static_cast<map_block*>(allocateBlock(sizeof(map_block), capacity, sizeof(kel_map_slot)));
  map->capacity = capacity;
  return map;
}

map_block* kel_reallocate_map(map_block* block, uint64_t capacity) {
  if (block == nullptr) return kel_allocate_map(capacity);
  map_block* const grown = kel_allocate_map(capacity < block->count ? block->count : capacity);
  grown->label = block->label;
  for (std::uint64_t i = 0; i < block->capacity; ++i) {
    const kel_map_slot& slot = slotsOf(block)[i];
    if (!isOccupied(slot)) continue;
    freeSlot(grown, slot.hash) = slot;
    ++grown->count;
  }
  std::free(block);  // its keys and values have moved
  return grown;
}

void kel_free_map(map_block* block) {
  if (block == nullptr) return;
  for (std::uint64_t i = 0; i < block->capacity; ++i) {
    kel_map_slot& slot = slotsOf(block)[i];
    if (!isOccupied(slot)) continue;
    freeValue(slot.key);
    freeValue(slot.value);
  }
  std::free(block);
}

void kel_free_vector(list_block* block) {
  if (block == nullptr) return;
  for (std::uint64_t i = 0; i < block->count; ++i) freeValue(elementsOf(block)[i]);
  std::free(block);
}

buffer_block* kel_allocate_buffer(uint64_t length) {
  auto* const buffer = static_cast<buffer_block*>(allocateBlock(sizeof(buffer_block), length, 1));
  buffer->length = length;
  return buffer;
}

void kel_free_buffer(buffer_block* block) { std::free(block); }

void kel_free_custom(custom_block* block) {
  if (block != nullptr && block->release != nullptr) block->release(block);
}

}  // extern "C"
