// comparison/plugin_run.h : performs a work through the built plugin, as the smallest host would.
//
// Role:      what is measured is the whole way from the batch that the host delivers to the
//            function of the host that takes the answers. The messages are made in lots, each just
//            before it is delivered; that does not count.
// Threads:   one thread only.
// Errors:    std::runtime_error when the plugin cannot be loaded or refuses an operation, or when
//            the warm-up fails.
#pragma once

#include "bench/comparison/measurement.h"
#include "bench/comparison/work.h"

namespace bench {

void runPlugin(const Work& work, Measurement& measurement);

}  // namespace bench
