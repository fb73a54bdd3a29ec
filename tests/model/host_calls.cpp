#include "model/host_calls.h"

#include <utility>

#include "kel/host_values.h"

namespace {

test_support::HostCalls* current = nullptr;

}  // namespace

// The linker sends calls of kel_x to __wrap_kel_x, and calls of __real_kel_x to the host's kel_x.
extern "C" {

kel_data __real_kel_copy_data(kel_data value);
char* __real_kel_copy_string(const char* text);
std::uint64_t __real_kel_hash_string(const char* text);
map_block* __real_kel_allocate_map(std::uint64_t capacity);
map_block* __real_kel_reallocate_map(map_block* block, std::uint64_t capacity);
buffer_block* __real_kel_allocate_buffer(std::uint64_t length);
kel_data __real_kel_data_to_string(kel_data value);
void __real_kel_free_string(char* text);
void __real_kel_free_vector(list_block* block);
void __real_kel_free_map(map_block* block);
void __real_kel_free_buffer(buffer_block* block);
void __real_kel_free_custom(custom_block* block);

// com::orvex::Platform::float64ToChar8
char* __real__ZN3com5orvex8Platform14float64ToChar8EdPc(double value, char* buffer);

}  // extern "C"

namespace test_support {

HostCalls::HostCalls()
    : reallocateMap_(__real_kel_reallocate_map), dataToString_(__real_kel_data_to_string) {
  current = this;
}

HostCalls::~HostCalls() { current = nullptr; }

map_block* HostCalls::hostsReallocateMap(map_block* block, std::uint64_t capacity) {
  return __real_kel_reallocate_map(block, capacity);
}

std::uint64_t HostCalls::count(const std::string& function) const {
  const auto found = counts_.find(function);
  return found == counts_.end() ? 0 : found->second;
}

std::uint64_t HostCalls::total() const {
  std::uint64_t sum = 0;
  for (const auto& entry : counts_) sum += entry.second;
  return sum;
}

void HostCalls::reallocateMapWith(std::function<map_block*(map_block*, std::uint64_t)> function) {
  reallocateMap_ = std::move(function);
}

void HostCalls::dataToStringWith(std::function<kel_data(kel_data)> function) {
  dataToString_ = std::move(function);
}

void HostCalls::note(const char* function) {
  if (current != nullptr) ++current->counts_[function];
}

map_block* HostCalls::allocateMap(std::uint64_t capacity) {
  note("kel_allocate_map");
  if (current != nullptr) current->capacities_.push_back(capacity);
  return __real_kel_allocate_map(capacity);
}

map_block* HostCalls::reallocateMap(map_block* block, std::uint64_t capacity) {
  note("kel_reallocate_map");
  if (current == nullptr) return __real_kel_reallocate_map(block, capacity);
  current->capacities_.push_back(capacity);
  return current->reallocateMap_(block, capacity);
}

kel_data HostCalls::dataToString(kel_data value) {
  note("kel_data_to_string");
  return current == nullptr ? __real_kel_data_to_string(value) : current->dataToString_(value);
}

void HostCalls::noteHashing() {
  note("kel_hash_string");
  if (current != nullptr && current->whenHashing_) current->whenHashing_();
}

void HostCalls::noteWritingDouble() {
  if (current != nullptr && current->whenWritingDouble_) current->whenWritingDouble_();
}

}  // namespace test_support

using test_support::HostCalls;

extern "C" {

kel_data __wrap_kel_copy_data(kel_data value) {
  HostCalls::note("kel_copy_data");
  return __real_kel_copy_data(value);
}

char* __wrap_kel_copy_string(const char* text) {
  HostCalls::note("kel_copy_string");
  return __real_kel_copy_string(text);
}

std::uint64_t __wrap_kel_hash_string(const char* text) {
  HostCalls::noteHashing();
  return __real_kel_hash_string(text);
}

map_block* __wrap_kel_allocate_map(std::uint64_t capacity) {
  return HostCalls::allocateMap(capacity);
}

map_block* __wrap_kel_reallocate_map(map_block* block, std::uint64_t capacity) {
  return HostCalls::reallocateMap(block, capacity);
}

buffer_block* __wrap_kel_allocate_buffer(std::uint64_t length) {
  HostCalls::note("kel_allocate_buffer");
  return __real_kel_allocate_buffer(length);
}

kel_data __wrap_kel_data_to_string(kel_data value) { return HostCalls::dataToString(value); }

char* __wrap__ZN3com5orvex8Platform14float64ToChar8EdPc(double value, char* buffer) {
  HostCalls::noteWritingDouble();
  return __real__ZN3com5orvex8Platform14float64ToChar8EdPc(value, buffer);
}

// Only blocks count as released: every function accepts null and then does nothing.

void __wrap_kel_free_string(char* text) {
  if (text != nullptr) HostCalls::note("kel_free_string");
  __real_kel_free_string(text);
}

void __wrap_kel_free_vector(list_block* block) {
  if (block != nullptr) HostCalls::note("kel_free_vector");
  __real_kel_free_vector(block);
}

void __wrap_kel_free_map(map_block* block) {
  if (block != nullptr) HostCalls::note("kel_free_map");
  __real_kel_free_map(block);
}

void __wrap_kel_free_buffer(buffer_block* block) {
  if (block != nullptr) HostCalls::note("kel_free_buffer");
  __real_kel_free_buffer(block);
}

void __wrap_kel_free_custom(custom_block* block) {
  if (block != nullptr) HostCalls::note("kel_free_custom");
  __real_kel_free_custom(block);
}

}  // extern "C"
