// chainhost/scarce_memory.h : memory of which a thread gets small pieces only.
//
// Role:      while one of these lives, operator new fails on its thread for pieces of at least so
//            many bytes. The program's own operator new stands in for the library's.
// Threads:   the thread that made it; one at a time.
#pragma once

#include <cstddef>

namespace test_support {

class ScarceMemory {
 public:
  explicit ScarceMemory(std::size_t failingBytes);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

}  // namespace test_support
