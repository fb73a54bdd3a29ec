/* broken_plugins/faultless.c : no fault: what the others are measured against. */
#include "broken_plugins/synchronous_plugin.h"
