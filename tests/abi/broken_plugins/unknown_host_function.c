/* broken_plugins/unknown_host_function.c : needs a function that no host has. */
#define FAULT_UNKNOWN_HOST_FUNCTION
#include "broken_plugins/synchronous_plugin.h"
