/* kel/plugin.h : the nine functions that libHTTPClient.so exports; a host resolves them by name.
 *
 * States of a plugin handle: created -> started -> shut down -> destroyed. Expected order: create,
 * setNextTowardsHost, start, hostReady, any number of batches, shutdown, destroy. No exception
 * ever leaves one of these functions; a failure is logged through the host, once, under the
 * category "connectivity." + plugin name + "." + chain id.
 *
 * Result of the functions that return int32_t: 0 success, 1 an exception was caught and logged; a
 * null plugin handle or batch function counts as one.
 * The two version queries apart, the functions call the host's functions while they run.
 */
#ifndef KEL_PLUGIN_H
#define KEL_PLUGIN_H

#include "kel/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The host's function for messages that come back: [any thread of the plugin], one call at a
 * time for one plugin handle. The array is the sender's; the receiver may move the content out of
 * a message (leaving tag 0 and a null metadata block); what is left the sender releases. */
typedef void (*kel_batch_function)(void* host_element, kel_message* first, kel_message* end);

/* 4, whatever the state. [any thread], may be called before create. */
KEL_EXPORT int32_t kel_plugin_api_version_HTTPClient(void);

/* "10.15.0.2", static storage. [any thread], may be called before create. */
KEL_EXPORT const char* kel_plugin_product_version_HTTPClient(void);

/* A new transport, or null on failure (logged at ERROR as "Exception from create: ...").
 * `config` must point to a map; it stays the host's, the plugin keeps a deep copy. The handles
 * are kept as they are and handed back in calls of kel/host_services.h; they must stay valid until
 * destroy returns. Opens no connection and starts no thread. A null name or config is refused like
 * any other bad argument. [one thread] */
KEL_EXPORT void* kel_create_plugin_with_params_HTTPClient(const char* plugin_name,
                                                          const char* chain_id,
                                                          const kel_data* config,
                                                          void* status_handle, void* host_handle);

/* Ends the transport; the handle is dead afterwards. Null: 0, nothing happens. Stops the workers
 * first if shutdown has not done so: requests in flight are cut off from the server and answered as
 * failed, requests that wait are dropped. Logs nothing of its own. Not from within `batch`.
 * [one thread, no other call running] */
KEL_EXPORT int32_t kel_destroy_plugin_HTTPClient(void* plugin);

/* Starts the workers. [one thread, created] */
KEL_EXPORT int32_t kel_plugin_start_HTTPClient(void* plugin);

/* Tells that the whole chain is up; the transport does nothing. [one thread, started] */
KEL_EXPORT int32_t kel_plugin_hostReady_HTTPClient(void* plugin);

/* Answers what is queued, then stops the workers. Blocks until they have ended: as long as the
 * server takes, timeoutSecs for each wait at the most. When the host itself is going down, or
 * begins to (noticed within a second), requests that wait are dropped, and those in flight are cut
 * off from the server and answered as failed. Messages delivered from now on are dropped
 * unanswered. From within `batch` it asks the workers to end and returns; destroy waits for them.
 * [any thread, several at once, any state] */
KEL_EXPORT int32_t kel_plugin_shutdown_HTTPClient(void* plugin);

/* Sets where responses go, in place of an earlier call's. `host_element` is handed to `batch`
 * unchanged. Both must stay valid until replaced or until destroy returns. [one thread] */
KEL_EXPORT int32_t kel_plugin_setNextTowardsHost_HTTPClient(void* plugin, void* host_element,
                                                            kel_batch_function batch);

/* Takes the request messages [first, end). Ownership as for kel_batch_function. Blocks while more
 * than 2,048 requests wait, unless called from one of the transport's own workers.
 * [any thread, several at once, created or started] */
KEL_EXPORT int32_t kel_plugin_sendBatchTowardsTransport_HTTPClient(void* plugin, kel_message* first,
                                                                   kel_message* end);

#ifdef __cplusplus
}
#endif

#endif /* KEL_PLUGIN_H */
