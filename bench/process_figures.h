// bench/process_figures.h : what this process holds: resident memory, threads, descriptors.
//
// Threads:   any thread.
// Errors:    std::runtime_error when /proc cannot be read.
#pragma once

#include <cstdint>

namespace bench {

struct ProcessFigures {
  std::uint64_t residentBytes = 0;
  std::uint64_t threads = 0;
  std::uint64_t descriptors = 0;

  static ProcessFigures now();
};

}  // namespace bench
