// plugin/allocation_counter.h : how often the program that links allocation_counter.cpp allocates.
#pragma once

#include <cstdint>

namespace test_support {

/// Calls of operator new by this thread.
std::uint64_t allocations();

/// Objects made by operator new and not yet deleted, by all threads.
std::int64_t liveObjects();

}  // namespace test_support
