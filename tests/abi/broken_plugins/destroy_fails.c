/* broken_plugins/destroy_fails.c : destroy reports a failure. */
#define FAULT_DESTROY
#include "broken_plugins/synchronous_plugin.h"
