/* broken_plugins/set_next_fails.c : setNextTowardsHost reports a failure. */
#define FAULT_SET_NEXT
#include "broken_plugins/synchronous_plugin.h"
