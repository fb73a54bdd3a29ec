// comparison/lifecycle.h : what the plugin's workers cost when they do nothing, and to come and go.
//
// Role:      creates a transport, sends as many requests at once as it has clients, so that each
//            worker holds a connection, and looks at the process; then shuts it down. The work's
//            delay should be so long that all requests are under way together.
// Threads:   one thread only.
// Errors:    std::runtime_error as of PluginHost, when a request fails, or when fewer connections
//            are held than there are clients.
#pragma once

#include <string>

#include "bench/comparison/work.h"

namespace bench {

/// One line of JSON: names and units stand in it.
std::string lifecycleJson(const Work& work);

}  // namespace bench
