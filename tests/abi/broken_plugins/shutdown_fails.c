/* broken_plugins/shutdown_fails.c : shutdown reports a failure. */
#define FAULT_SHUTDOWN
#include "broken_plugins/synchronous_plugin.h"
