/* broken_plugins/create_fails.c : accepts no configuration. */
#define FAULT_CREATE
#include "broken_plugins/synchronous_plugin.h"
