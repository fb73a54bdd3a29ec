/* broken_plugins/send_fails.c : takes no message and reports a failure. */
#define FAULT_SEND
#include "broken_plugins/synchronous_plugin.h"
