// comparison/plugin_run.h : performs a work through the built plugin, as the smallest host would.
//
// Role:      the messages are made beforehand; one thread delivers them in batches, and the host's
//            function notes the answers. What is measured is the way from one to the other.
// Threads:   one thread only.
// Errors:    std::runtime_error when the plugin cannot be loaded or refuses an operation, or when
//            the warm-up fails.
#pragma once

#include "bench/comparison/measurement.h"
#include "bench/comparison/work.h"

namespace bench {

void runPlugin(const Work& work, Measurement& measurement);

}  // namespace bench
