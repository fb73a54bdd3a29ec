/* broken_plugins/other_api_version.c : made for an earlier version of the boundary. */
#define FAULT_API_VERSION 3
#include "broken_plugins/synchronous_plugin.h"
