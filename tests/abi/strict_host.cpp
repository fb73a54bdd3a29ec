#include "abi/strict_host.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <string_view>

#include "abi/laid_out_values.h"
#include "kel/host_services.h"
#include "kel/host_values.h"

namespace test_support {

struct StrictHost::State {
  struct Item {
    std::string key;
  };

  std::vector<std::string> calls;
  std::set<const void*> blocks;
  std::size_t wrongReleases = 0;
  std::uint64_t allocations = 0;
  std::uint64_t failAt = 0;  // a number of `allocations`
  std::int32_t level = 4;
  std::function<std::uint64_t(const char*)> hash = [](const char* text) {
    return static_cast<std::uint64_t>(std::hash<std::string_view>()(text));
  };
  std::map<void*, std::unique_ptr<Item>> items;
  std::uint64_t itemsAsked = 0;
  std::uint64_t refusedItem = 0;
  std::int32_t downResult = 0;
  bool isDown = false;
  char statusHandle = 0;
  char hostHandle = 0;

  void count() {
    if (++allocations == failAt) throw std::bad_alloc();
  }
  void* allocate(std::size_t bytes) {
    count();
    void* const block = std::calloc(1, bytes);
    blocks.insert(block);
    return block;
  }
  void release(void* block) {
    if (block == nullptr) return;
    if (blocks.erase(block) == 0) {
      ++wrongReleases;
    } else {
      std::free(block);
    }
  }
};

namespace {

// Held during every call. Recursive: the functions are made of each other.
std::recursive_mutex mutex;
using Lock = std::lock_guard<std::recursive_mutex>;

StrictHost::State* current = nullptr;

kel_map_slot* slotsOf(map_block* map) { return reinterpret_cast<kel_map_slot*>(map + 1); }
kel_data* elementsOf(list_block* list) { return reinterpret_cast<kel_data*>(list + 1); }

bool isOccupied(const kel_map_slot& slot) { return slot.hash > 1 || slot.key.tag != 0; }

// The first slot from the hash's own on that holds nothing. REQUIRES: there is one.
void place(map_block* map, const kel_map_slot& entry) {
  std::uint64_t index = entry.hash % map->capacity;
  while (isOccupied(slotsOf(map)[index])) index = (index + 1) % map->capacity;
  slotsOf(map)[index] = entry;
  ++map->count;
}

map_block* newMap(std::uint64_t capacity) {
  auto* const map = static_cast<map_block*>(
      current->allocate(sizeof(map_block) + capacity * sizeof(kel_map_slot)));
  map->capacity = capacity;
  return map;
}

void releaseMap(map_block* map) {
  for (std::uint64_t i = 0; map != nullptr && i < map->capacity; ++i) {
    if (!isOccupied(slotsOf(map)[i])) continue;
    releaseValue(slotsOf(map)[i].key);
    releaseValue(slotsOf(map)[i].value);
  }
  current->release(map);
}

map_block* copyMap(map_block* source) {
  if (source == nullptr) return nullptr;
  map_block* const copy = newMap(source->capacity);
  try {
    for (std::uint64_t i = 0; i < source->capacity; ++i) {
      const kel_map_slot& from = slotsOf(source)[i];
      if (!isOccupied(from)) continue;
      kel_map_slot& to = slotsOf(copy)[i];
      to.hash = from.hash;
      to.key = kel_copy_data(from.key);
      to.value = kel_copy_data(from.value);
      ++copy->count;
    }
  } catch (...) {
    releaseMap(copy);
    throw;
  }
  return copy;
}

// The values of a line as text, " | " before each.
std::string valuesOf(std::string_view format, std::va_list& values) {
  std::string text;
  for (auto at = format.find('%'); at != format.npos; at = format.find('%')) {
    format.remove_prefix(at + 1);
    if (format.starts_with("s")) {
      text += std::string(" | ") + va_arg(values, const char*);
    } else if (format.starts_with("d") || format.starts_with("I32d")) {
      text += " | " + std::to_string(va_arg(values, std::int32_t));
    } else if (format.starts_with("I64d")) {
      text += " | " + std::to_string(va_arg(values, std::int64_t));
    } else if (format.starts_with("I64u")) {
      text += " | " + std::to_string(va_arg(values, std::uint64_t));
    } else {
      return text + " | (unknown conversion)";
    }
  }
  return text;
}

const char* mark(const void* handle, const void* expected) {
  return handle == expected ? "" : " (wrong handle)";
}

}  // namespace

StrictHost::StrictHost() : state_(std::make_unique<State>()) {
  const Lock lock(mutex);
  if (current != nullptr) std::abort();  // two hosts at once: a mistake in the test
  current = state_.get();
}

StrictHost::~StrictHost() {
  const Lock lock(mutex);
  for (const void* block : state_->blocks) std::free(const_cast<void*>(block));
  current = nullptr;
}

std::vector<std::string> StrictHost::calls() const {
  const Lock lock(mutex);
  return state_->calls;
}

void StrictHost::clearCalls() {
  const Lock lock(mutex);
  state_->calls.clear();
}

std::size_t StrictHost::live() const {
  const Lock lock(mutex);
  return state_->blocks.size() + state_->items.size();
}

std::size_t StrictHost::wrongReleases() const {
  const Lock lock(mutex);
  return state_->wrongReleases;
}

std::uint64_t StrictHost::allocations() const {
  const Lock lock(mutex);
  return state_->allocations;
}

void StrictHost::failAllocation(std::uint64_t number) {
  const Lock lock(mutex);
  state_->failAt = number == 0 ? 0 : state_->allocations + number;
}

void StrictHost::setLevel(std::int32_t level) {
  const Lock lock(mutex);
  state_->level = level;
}

void StrictHost::hashWith(std::function<std::uint64_t(const char*)> hash) {
  const Lock lock(mutex);
  state_->hash = std::move(hash);
}

void StrictHost::refuseItem(std::uint64_t number) {
  const Lock lock(mutex);
  state_->refusedItem = number;
}

void StrictHost::answerDown(std::int32_t result, bool goingDown) {
  const Lock lock(mutex);
  state_->downResult = result;
  state_->isDown = goingDown;
}

void* StrictHost::statusHandle() { return &state_->statusHandle; }

void* StrictHost::hostHandle() { return &state_->hostHandle; }

void releaseValue(kel_data value) {
  switch (value.tag) {
    case KEL_TAG_STRING:
      return kel_free_string(value.payload.string);
    case KEL_TAG_LIST:
      return kel_free_vector(value.payload.list);
    case KEL_TAG_MAP: {
      const Lock lock(mutex);
      return releaseMap(value.payload.map);
    }
    case KEL_TAG_BUFFER:
      return kel_free_buffer(value.payload.buffer);
    case KEL_TAG_CUSTOM:
      return kel_free_custom(value.payload.custom);
    default:
      return;
  }
}

}  // namespace test_support

using test_support::current;
using test_support::Lock;
using test_support::mark;

extern "C" {

kel_data kel_copy_data(kel_data value) {
  const Lock lock(test_support::mutex);
  switch (value.tag) {
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      value.payload.string = kel_copy_string(value.payload.string);
      value.tag = KEL_TAG_STRING;
      break;
    case KEL_TAG_MAP:
      value.payload.map = test_support::copyMap(value.payload.map);
      break;
    case KEL_TAG_LIST:
    case KEL_TAG_BUFFER:
    case KEL_TAG_CUSTOM:
      std::abort();  // the tests give no such value
    default:
      break;
  }
  return value;
}

char* kel_copy_string(const char* text) {
  const Lock lock(test_support::mutex);
  const std::size_t bytes = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(current->allocate(bytes), text, bytes));
}

void kel_free_string(char* text) {
  const Lock lock(test_support::mutex);
  current->release(text);
}

std::uint64_t kel_hash_string(const char* text) {
  const Lock lock(test_support::mutex);
  return current->hash(text);
}

map_block* kel_allocate_map(std::uint64_t capacity) {
  const Lock lock(test_support::mutex);
  return test_support::newMap(capacity);
}

map_block* kel_reallocate_map(map_block* block, std::uint64_t capacity) {
  const Lock lock(test_support::mutex);
  map_block* const grown = test_support::newMap(capacity);
  if (block == nullptr) return grown;
  grown->label = block->label;
  for (std::uint64_t i = 0; i < block->capacity; ++i) {
    const kel_map_slot& slot = test_support::slotsOf(block)[i];
    if (test_support::isOccupied(slot)) test_support::place(grown, slot);
  }
  current->release(block);
  return grown;
}

void kel_free_map(map_block* block) {
  const Lock lock(test_support::mutex);
  current->calls.push_back("free map " +
                           (block == nullptr ? "null" : std::to_string(block->count)));
  test_support::releaseMap(block);
}

void kel_free_vector(list_block* block) {
  const Lock lock(test_support::mutex);
  for (std::uint64_t i = 0; block != nullptr && i < block->count; ++i) {
    test_support::releaseValue(test_support::elementsOf(block)[i]);
  }
  current->release(block);
}

buffer_block* kel_allocate_buffer(std::uint64_t length) {
  const Lock lock(test_support::mutex);
  auto* const buffer = static_cast<buffer_block*>(current->allocate(sizeof(buffer_block) + length));
  buffer->length = length;
  return buffer;
}

void kel_free_buffer(buffer_block* block) {
  const Lock lock(test_support::mutex);
  current->release(block);
}

void kel_free_custom(custom_block* block) {
  const Lock lock(test_support::mutex);
  current->calls.emplace_back("free custom");
  current->release(block);
}

kel_data kel_data_to_string(kel_data value) {
  return test_support::textValue(value.tag == KEL_TAG_STRING ? value.payload.string : "a value");
}

std::int32_t kel_get_log_level(const char* category) {
  const Lock lock(test_support::mutex);
  current->calls.push_back(std::string("level ") + category);
  return current->level;
}

void kel_log_at(const char* category, std::int32_t level, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  const std::string text = test_support::valuesOf(format, values);
  va_end(values);
  const Lock lock(test_support::mutex);
  current->calls.push_back("log " + std::to_string(level) + " " + category + ": " + format + text);
}

void* kel_create_user_status_item(void* statusHandle, const char* key, const char* value) {
  const Lock lock(test_support::mutex);
  current->calls.push_back(std::string("create ") + key + "=" + value +
                           mark(statusHandle, &current->statusHandle));
  if (++current->itemsAsked == current->refusedItem) return nullptr;
  current->count();
  auto item = std::make_unique<test_support::StrictHost::State::Item>();
  item->key = key;
  void* const handle = item.get();
  current->items[handle] = std::move(item);
  return handle;
}

void kel_set_user_status_item(void* itemHandle, const char* value) {
  const Lock lock(test_support::mutex);
  const auto found = current->items.find(itemHandle);
  const std::string key = found == current->items.end() ? "(no item)" : found->second->key;
  current->calls.push_back("set " + key + "=" + value);
}

void kel_delete_user_status_item(void* statusHandle, void* itemHandle) {
  const Lock lock(test_support::mutex);
  const auto found = current->items.find(itemHandle);
  const std::string key = found == current->items.end() ? "(no item)" : found->second->key;
  current->calls.push_back("delete " + key + mark(statusHandle, &current->statusHandle));
  if (found != current->items.end()) current->items.erase(found);
}

void kel_set_user_status_map(void* statusHandle, map_block* values) {
  const Lock lock(test_support::mutex);
  current->calls.push_back("publish " + std::to_string(values == nullptr ? 0 : values->count) +
                           mark(statusHandle, &current->statusHandle));
}

std::int32_t kel_is_host_shutting_down(void* hostHandle, bool* shuttingDown) {
  const Lock lock(test_support::mutex);
  current->calls.push_back(std::string("down?") + mark(hostHandle, &current->hostHandle));
  if (current->downResult == 0) *shuttingDown = current->isDown;
  return current->downResult;
}

}  // extern "C"
