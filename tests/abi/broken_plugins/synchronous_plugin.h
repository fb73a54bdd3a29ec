/* broken_plugins/synchronous_plugin.h : a plugin that keeps the boundary's rules: it sends every
 * message back as it came, on the thread that delivers it. Each file beside it defines one of the
 * FAULT_... macros and includes it: one plugin, one fault.
 *
 *  FAULT_API_VERSION            the version to report instead of 4
 *  FAULT_NO_HOST_READY          one entry point is not there
 *  FAULT_UNKNOWN_HOST_FUNCTION  needs a function that no host has
 *  FAULT_CREATE, FAULT_SET_NEXT, FAULT_START, FAULT_HOST_READY, FAULT_SEND, FAULT_SHUTDOWN,
 *  FAULT_DESTROY                the entry point fails; for create: logs and gives null
 *  FAULT_HANG_IN_SHUTDOWN       shutdown never returns
 *  FAULT_AT_DESTROY             a function to call first in destroy: void (void)
 *  FAULT_ANSWER                 a function to call instead of the host's batch function:
 *                               void (void* element, kel_batch_function, kel_message*,
 * kel_message*)
 */
#ifndef BROKEN_PLUGINS_SYNCHRONOUS_PLUGIN_H
#define BROKEN_PLUGINS_SYNCHRONOUS_PLUGIN_H

#include <stdbool.h>
#include <stdlib.h>
#include <unistd.h>

#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kel/plugin.h"

typedef struct synchronous_plugin {
  void* host_element;
  kel_batch_function batch;
} synchronous_plugin;

int32_t kel_plugin_api_version_HTTPClient(void) {
#ifdef FAULT_API_VERSION
  return FAULT_API_VERSION;
#else
  return 4;
#endif
}

const char* kel_plugin_product_version_HTTPClient(void) { return "synchronous"; }

void* kel_create_plugin_with_params_HTTPClient(const char* plugin_name, const char* chain_id,
                                               const kel_data* config, void* status_handle,
                                               void* host_handle) {
  (void)plugin_name, (void)chain_id, (void)config, (void)status_handle, (void)host_handle;
#ifdef FAULT_UNKNOWN_HOST_FUNCTION
  extern void kel_function_that_no_host_has(void);
  kel_function_that_no_host_has();
#endif
#ifdef FAULT_CREATE
  kel_log_at("connectivity.test", 2, "%s", "the configuration does not please");
  return NULL;
#else
  return calloc(1, sizeof(synchronous_plugin));
#endif
}

int32_t kel_destroy_plugin_HTTPClient(void* plugin) {
#ifdef FAULT_AT_DESTROY
  FAULT_AT_DESTROY();
#endif
  free(plugin);
#ifdef FAULT_DESTROY
  return 1;
#else
  return 0;
#endif
}

int32_t kel_plugin_start_HTTPClient(void* plugin) {
  (void)plugin;
#ifdef FAULT_START
  return 1;
#else
  return 0;
#endif
}

#ifndef FAULT_NO_HOST_READY
int32_t kel_plugin_hostReady_HTTPClient(void* plugin) {
  (void)plugin;
#ifdef FAULT_HOST_READY
  return 1;
#else
  return 0;
#endif
}
#endif

int32_t kel_plugin_shutdown_HTTPClient(void* plugin) {
  (void)plugin;
#ifdef FAULT_HANG_IN_SHUTDOWN
  while (true) {
    pause();
  }
#elif defined(FAULT_SHUTDOWN)
  return 1;
#else
  return 0;
#endif
}

int32_t kel_plugin_setNextTowardsHost_HTTPClient(void* plugin, void* host_element,
                                                 kel_batch_function batch) {
  synchronous_plugin* self = plugin;
  self->host_element = host_element;
  self->batch = batch;
#ifdef FAULT_SET_NEXT
  return 1;
#else
  return 0;
#endif
}

int32_t kel_plugin_sendBatchTowardsTransport_HTTPClient(void* plugin, kel_message* first,
                                                        kel_message* end) {
  synchronous_plugin* self = plugin;
#ifdef FAULT_ANSWER
  FAULT_ANSWER(self->host_element, self->batch, first, end);
#elif !defined(FAULT_SEND)
  self->batch(self->host_element, first, end);
#else
  (void)self, (void)first, (void)end;
#endif
#ifdef FAULT_SEND
  return 1;
#else
  return 0;
#endif
}

#endif
