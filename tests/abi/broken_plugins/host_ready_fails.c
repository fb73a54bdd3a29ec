/* broken_plugins/host_ready_fails.c : hostReady reports a failure. */
#define FAULT_HOST_READY
#include "broken_plugins/synchronous_plugin.h"
