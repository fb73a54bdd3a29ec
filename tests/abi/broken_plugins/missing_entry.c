/* broken_plugins/missing_entry.c : the entry point hostReady is not there. */
#define FAULT_NO_HOST_READY
#include "broken_plugins/synchronous_plugin.h"
