// fuzz/fuzz_host.h : the host's log, status display and shutdown flag, as far as targets need.
//
// Role:    keeps the lines of one input; shows nothing and is never shutting down. The functions of
//          values come from kelhost_core.
// Threads: the levels and lines are the fuzzing thread's alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

/// The level of every category from now on; WARN (3) at first.
void setLogLevel(std::int32_t level);

/// The lines since the last call, oldest first.
std::vector<std::string> takeLogLines();

}  // namespace fuzz
