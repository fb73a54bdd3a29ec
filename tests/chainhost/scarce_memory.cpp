#include "chainhost/scarce_memory.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
thread_local std::size_t failingFrom = kNone;

}  // namespace

namespace test_support {

ScarceMemory::ScarceMemory(std::size_t failingBytes) { failingFrom = failingBytes; }

ScarceMemory::~ScarceMemory() { failingFrom = kNone; }

}  // namespace test_support

// All forms, which forward to each other: where a sanitizer replaces them, its own do not.
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return bytes >= failingFrom ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}

void* operator new(std::size_t bytes) {
  void* const memory = operator new(bytes, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* operator new[](std::size_t bytes) { return operator new(bytes); }

void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return operator new(bytes, std::nothrow);
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
