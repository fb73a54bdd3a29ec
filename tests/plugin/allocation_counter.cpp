#include "plugin/allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t allocated = 0;
std::atomic<std::int64_t> live = 0;

}  // namespace

namespace test_support {

std::uint64_t allocations() { return allocated; }

std::int64_t liveObjects() { return live; }

}  // namespace test_support

void* operator new(std::size_t bytes) {
  void* const memory = std::malloc(bytes == 0 ? 1 : bytes);
  if (memory == nullptr) throw std::bad_alloc();
  ++allocated;
  ++live;
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory == nullptr) return;
  --live;
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
