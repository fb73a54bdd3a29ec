/* broken_plugins/start_fails.c : start reports a failure. */
#define FAULT_START
#include "broken_plugins/synchronous_plugin.h"
