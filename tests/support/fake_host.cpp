#include "support/fake_host.h"

#include <algorithm>
#include <condition_variable>
#include <cstdarg>
#include <cstdlib>
#include <mutex>

#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kelhost/log_format.h"

namespace test_support {

namespace {

constexpr std::int32_t kInfo = 4;
constexpr std::uint64_t kNever = UINT64_MAX;

// The status handle stands for the element, so that keys are unique under it.
struct Item {
  void* statusHandle;
  std::string key;
  std::string value;
};

// Guards the pointer to the host, and everything in it.
std::mutex mutex;
std::condition_variable changed;

std::string hostTextOf(const kel_data& value) {
  const kel_data text = kel_data_to_string(value);
  std::string result = text.payload.string;
  kel_free_string(text.payload.string);
  return result;
}

FakeHost::Entries entriesOf(const map_block* block) {
  FakeHost::Entries entries;
  if (block == nullptr) return entries;
  const auto* const slots = reinterpret_cast<const kel_map_slot*>(block + 1);
  for (std::uint64_t i = 0; i < block->capacity; ++i) {
    if (slots[i].hash < 2 && slots[i].key.tag == KEL_TAG_EMPTY) continue;
    entries.emplace_back(hostTextOf(slots[i].key), hostTextOf(slots[i].value));
  }
  return entries;
}

}  // namespace

struct FakeHost::State {
  std::int32_t level = kInfo;
  std::vector<std::string> levelQueries;
  std::vector<Line> lines;
  std::exception_ptr logFailure;
  std::vector<StatusCall> statusCalls;
  std::vector<std::unique_ptr<Item>> items;
  std::vector<Entries> maps;
  bool refusesItems = false;
  std::exception_ptr statusFailure;
  bool shuttingDown = false;
  std::uint64_t shutDownAt = kNever;
  std::uint64_t failFrom = kNever;
  std::uint64_t queries = 0;
  void* lastHostHandle = nullptr;

  static State* current;  // null while no FakeHost lives

  Item* find(const std::string& key) const {
    const auto has = [&](const auto& item) { return item->key == key; };
    const auto found = std::find_if(items.begin(), items.end(), has);
    return found == items.end() ? nullptr : found->get();
  }
};

FakeHost::State* FakeHost::State::current = nullptr;

using State = FakeHost::State;
using Lock = std::unique_lock<std::mutex>;
using Kind = FakeHost::StatusCall::Kind;

FakeHost::FakeHost() : state_(std::make_unique<State>()) {
  const Lock lock(mutex);
  if (State::current != nullptr) std::abort();  // two hosts at once: a mistake in the test
  State::current = state_.get();
}

FakeHost::~FakeHost() {
  const Lock lock(mutex);
  State::current = nullptr;
}

// ---- Log

void FakeHost::setLogLevel(std::int32_t level) {
  const Lock lock(mutex);
  state_->level = level;
}

std::vector<std::string> FakeHost::levelQueries() const {
  const Lock lock(mutex);
  return state_->levelQueries;
}

std::vector<FakeHost::Line> FakeHost::lines() const {
  const Lock lock(mutex);
  return state_->lines;
}

std::vector<std::string> FakeHost::texts() const {
  std::vector<std::string> texts;
  for (const Line& line : lines()) texts.push_back(line.text);
  return texts;
}

std::vector<std::string> FakeHost::textsAt(std::int32_t level) const {
  std::vector<std::string> texts;
  for (const Line& line : lines()) {
    if (line.level == level) texts.push_back(line.text);
  }
  return texts;
}

void FakeHost::clearLines() {
  const Lock lock(mutex);
  state_->lines.clear();
}

FakeHost::Line FakeHost::waitForLine(const std::function<bool(const Line&)>& predicate) const {
  Lock lock(mutex);
  const auto& lines = state_->lines;
  while (true) {
    const auto found = std::find_if(lines.begin(), lines.end(), predicate);
    if (found != lines.end()) return *found;
    changed.wait(lock);
  }
}

FakeHost::Line FakeHost::waitForText(const std::string& part) const {
  return waitForLine([&](const Line& line) { return line.text.find(part) != std::string::npos; });
}

void FakeHost::throwFromLog(std::exception_ptr failure) {
  const Lock lock(mutex);
  state_->logFailure = std::move(failure);
}

// ---- Status

std::vector<FakeHost::StatusCall> FakeHost::statusCalls() const {
  const Lock lock(mutex);
  return state_->statusCalls;
}

void FakeHost::clearStatusCalls() {
  const Lock lock(mutex);
  state_->statusCalls.clear();
}

std::vector<std::string> FakeHost::statusHistory(const std::string& key) const {
  std::vector<std::string> history;
  for (const StatusCall& call : statusCalls()) {
    if (call.kind == Kind::Map || call.key != key) continue;
    const char* const verb = call.kind == Kind::Create ? "create:"
                             : call.kind == Kind::Set  ? "set:"
                                                       : "delete:";
    history.push_back(verb + call.value);
  }
  return history;
}

std::optional<std::string> FakeHost::statusValue(const std::string& key) const {
  const Lock lock(mutex);
  const Item* const item = state_->find(key);
  return item == nullptr ? std::nullopt : std::optional(item->value);
}

std::vector<std::string> FakeHost::statusKeys() const {
  const Lock lock(mutex);
  std::vector<std::string> keys;
  for (const auto& item : state_->items) keys.push_back(item->key);
  return keys;
}

void FakeHost::waitForStatus(const std::string& key, const std::string& value) const {
  Lock lock(mutex);
  changed.wait(lock, [&] {
    const Item* const item = state_->find(key);
    return item != nullptr && item->value == value;
  });
}

std::vector<FakeHost::Entries> FakeHost::statusMaps() const {
  const Lock lock(mutex);
  return state_->maps;
}

void FakeHost::refuseStatusItems(bool refuse) {
  const Lock lock(mutex);
  state_->refusesItems = refuse;
}

void FakeHost::throwFromStatus(std::exception_ptr failure) {
  const Lock lock(mutex);
  state_->statusFailure = std::move(failure);
}

// ---- Shutdown flag

void FakeHost::setShuttingDown(bool shuttingDown) {
  const Lock lock(mutex);
  state_->shuttingDown = shuttingDown;
}

void FakeHost::shutDownAtQuery(std::uint64_t query) {
  const Lock lock(mutex);
  state_->shutDownAt = query;
}

void FakeHost::failShutdownQueriesFrom(std::uint64_t query) {
  const Lock lock(mutex);
  state_->failFrom = query;
}

std::uint64_t FakeHost::shutdownQueries() const {
  const Lock lock(mutex);
  return state_->queries;
}

void FakeHost::waitForShutdownQueries(std::uint64_t count) const {
  Lock lock(mutex);
  changed.wait(lock, [&] { return state_->queries >= count; });
}

void* FakeHost::lastHostHandle() const {
  const Lock lock(mutex);
  return state_->lastHostHandle;
}

}  // namespace test_support

using test_support::FakeHost;
using test_support::Item;
using test_support::Kind;
using test_support::Lock;
using test_support::State;

extern "C" {

std::int32_t kel_get_log_level(const char* category) {
  const Lock lock(test_support::mutex);
  if (State::current == nullptr) return test_support::kInfo;
  State::current->levelQueries.emplace_back(category);
  return State::current->level;
}

void kel_log_at(const char* category, std::int32_t level, const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  FakeHost::Line line{category, level, format, kelhost::formatLine(format, values)};
  va_end(values);
  const Lock lock(test_support::mutex);
  if (State::current == nullptr) return;
  State::current->lines.push_back(std::move(line));
  test_support::changed.notify_all();
  if (State::current->logFailure) std::rethrow_exception(State::current->logFailure);
}

void* kel_create_user_status_item(void* statusHandle, const char* key, const char* value) {
  const Lock lock(test_support::mutex);
  State* const host = State::current;
  if (host == nullptr) return nullptr;
  host->statusCalls.push_back({Kind::Create, key, value, statusHandle});
  const auto isTaken = [&](const auto& item) {
    return item->statusHandle == statusHandle && item->key == key;
  };
  if (host->refusesItems || std::any_of(host->items.begin(), host->items.end(), isTaken)) {
    return nullptr;
  }
  host->items.push_back(std::make_unique<Item>(Item{statusHandle, key, value}));
  test_support::changed.notify_all();
  return host->items.back().get();
}

void kel_set_user_status_item(void* itemHandle, const char* value) {
  const Lock lock(test_support::mutex);
  if (State::current == nullptr || itemHandle == nullptr) return;
  auto* const item = static_cast<Item*>(itemHandle);
  item->value = value;
  State::current->statusCalls.push_back({Kind::Set, item->key, value, nullptr});
  test_support::changed.notify_all();
  if (State::current->statusFailure) std::rethrow_exception(State::current->statusFailure);
}

void kel_delete_user_status_item(void* statusHandle, void* itemHandle) {
  const Lock lock(test_support::mutex);
  if (State::current == nullptr || itemHandle == nullptr) return;
  const auto isIt = [&](const auto& item) { return item.get() == itemHandle; };
  // What is deleted is gone, whether or not there is memory for the record of it.
  FakeHost::StatusCall call{Kind::Delete, std::move(static_cast<Item*>(itemHandle)->key), "",
                            statusHandle};
  std::erase_if(State::current->items, isIt);
  State::current->statusCalls.push_back(std::move(call));
  if (State::current->statusFailure) std::rethrow_exception(State::current->statusFailure);
}

void kel_set_user_status_map(void* statusHandle, map_block* values) {
  FakeHost::Entries entries = test_support::entriesOf(values);
  const Lock lock(test_support::mutex);
  if (State::current == nullptr) return;
  State::current->statusCalls.push_back({Kind::Map, "", "", statusHandle});
  State::current->maps.push_back(std::move(entries));
}

std::int32_t kel_is_host_shutting_down(void* hostHandle, bool* shuttingDown) {
  const Lock lock(test_support::mutex);
  State* const host = State::current;
  if (host == nullptr) return 1;
  host->lastHostHandle = hostHandle;
  ++host->queries;
  test_support::changed.notify_all();
  if (host->queries >= host->failFrom) return 1;
  *shuttingDown = host->shuttingDown || host->queries >= host->shutDownAt;
  return 0;
}

}  // extern "C"
