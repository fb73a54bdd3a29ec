// bench/bounds_chainhost.h : what an input line that never ends costs the stand-alone host.
//
// Threads:   one thread only, of a process that has made no other yet.
// Errors:    std::runtime_error when the host cannot be run.
#pragma once

#include <cstdint>

#include "bench/bounds_child.h"

namespace bench {

/// Runs the host over an ordinary line, one of `lineBytes` bytes, and an ordinary one again,
/// towards a server that answers with 200. The reason in the result is the long line's answer; the
/// status of the next request is 200 when both ordinary lines were answered so.
BoundsResult measureChainhost(std::uint64_t lineBytes, std::uint16_t port);

}  // namespace bench
