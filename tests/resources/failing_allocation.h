// resources/failing_allocation.h : memory that runs out when the test says so, and account of what
// is not given back.
//
// Role:      stands in front of the C library's allocation functions for the whole program. Only
//            the plugin's threads (plugin_threads.h) meet failures and are counted; what any
//            library allocates on them is counted as well.
// Threads:   any thread.
// Limits:    a sanitizer has allocation functions of its own: under one, what this program itself
//            allocates fails, that of libraries never does, and nothing is counted, which the
//            address sanitizer does itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace test_support {

enum class Shortage {
  Once,     // one allocation fails
  Lasting,  // it and all after it, until the end of the shortage
};

/// From now on the n-th allocation (1: the next one) fails. It ends the shortage before.
void failAllocation(std::uint64_t n, Shortage shortage);

/// There is memory again. Returns how many allocations have failed.
std::uint64_t endShortage();

/// Allocations that have failed since the shortage was ordered.
std::uint64_t failedAllocations();

/// Blocks that have been allocated on the plugin's threads and are not freed; 0 if not counted.
std::size_t liveBlocks();

}  // namespace test_support
