/* broken_plugins/hangs_in_shutdown.c : shutdown never returns. */
#define FAULT_HANG_IN_SHUTDOWN
#include "broken_plugins/synchronous_plugin.h"
