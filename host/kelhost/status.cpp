// kelhost/status.cpp : the status items of all elements, and what they are
// worth now.
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kel/host_control.h"
#include "kel/host_services.h"
#include "kelhost/blocks.h"
#include "kelhost/value_text.h"
#include "runtime/platform.h"

namespace {

struct Item {
  std::string value;
  std::uint64_t changes = 0;
  std::int64_t changedAtMs = com::orvex::Platform::sysTime();

  void set(const char* text) {
    value = text;
    ++changes;
    changedAtMs = com::orvex::Platform::sysTime();
  }
};

// What one status handle stands for.
struct Element {
  bool closed = false;
  std::map<std::uint64_t, std::pair<std::string, Item>> items;  // by number, so in creation order
  std::vector<std::pair<std::string, std::string>> left;        // of kel_set_user_status_map
};

// An item handle is the item's number, which is never used again: one that is
// stale names nothing.
struct Registry {
  std::mutex mutex;
  std::map<void*, Element> elements;
  std::map<std::uint64_t, void*> owners;  // status handle by item number
  std::uint64_t lastNumber = 0;
};

// Never destroyed: plugins may set items until the process ends.
Registry& registry() {
  static Registry& instance = *new Registry;
  return instance;
}

std::uint64_t numberOf(void* itemHandle) { return reinterpret_cast<std::uint64_t>(itemHandle); }

}  // namespace

extern "C" {

void* kel_create_user_status_item(void* status_handle, const char* key, const char* value) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  Element& element = all.elements[status_handle];
  if (element.closed) return nullptr;
  for (const auto& [number, entry] : element.items) {
    if (entry.first == key) return nullptr;
  }
  const std::uint64_t number = ++all.lastNumber;
  auto& entry = element.items[number];
  entry.first = key;
  entry.second.value = value;
  all.owners[number] = status_handle;
  return reinterpret_cast<void*>(number);
}

void kel_set_user_status_item(void* item_handle, const char* value) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const auto owner = all.owners.find(numberOf(item_handle));
  if (owner == all.owners.end()) return;
  all.elements[owner->second].items[owner->first].second.set(value);
}

void kel_delete_user_status_item(void* status_handle, void* item_handle) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const auto owner = all.owners.find(numberOf(item_handle));
  if (owner == all.owners.end() || owner->second != status_handle) return;
  all.elements[status_handle].items.erase(owner->first);
  all.owners.erase(owner);
}

void kel_set_user_status_map(void* status_handle, map_block* values) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (std::uint64_t i = 0; values != nullptr && i < values->capacity; ++i) {
    const kel_map_slot& slot = kelhost::slotsOf(values)[i];
    if (!kelhost::isOccupied(slot)) continue;
    entries.emplace_back(kelhost::valueText(slot.key), kelhost::valueText(slot.value));
  }
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  all.elements[status_handle].left = std::move(entries);
}

void kel_host_visit_status(void* status_handle, kel_host_status_visitor visitor, void* context) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const auto element = all.elements.find(status_handle);
  if (element == all.elements.end()) return;
  for (const auto& [number, entry] : element->second.items) {
    const kel_host_status_item item{entry.first.c_str(), entry.second.value.c_str(),
                                    entry.second.changes, entry.second.changedAtMs};
    visitor(context, &item);
  }
  for (const auto& [key, value] : element->second.left) {
    const kel_host_status_item item{key.c_str(), value.c_str(), 0, 0};
    visitor(context, &item);
  }
}

void kel_host_close_status(void* status_handle, bool closed) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  Element& element = all.elements[status_handle];
  element.closed = closed;
  if (!closed) element.left.clear();
}

}  // extern "C"
