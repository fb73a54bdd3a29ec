/* kel/host_services.h : the host's log, status items and shutdown flag. The host gives these
 * functions, plugins call them. All of them: [any thread]; texts are borrowed for the call. */
#ifndef KEL_HOST_SERVICES_H
#define KEL_HOST_SERVICES_H

#include <stdbool.h>

#include "kel/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Log. Levels: 0 CRIT, 1 FATAL, 2 ERROR, 3 WARN, 4 INFO, 5 DEBUG, 6 TRACE; a larger number
 * is more verbose, and a negative one switches the category off. */

/* The level that the host has for a category: lines above it are not wanted. */
KEL_EXPORT int32_t kel_get_log_level(const char* category);

/* Writes one line. The conversions of `format` are %s (const char*), %d and %I32d (int32_t),
 * %I64d (int64_t), %I64u (uint64_t) and %%; a format with any other conversion is written raw.
 * The host does not filter by level: the caller has done so. */
KEL_EXPORT void kel_log_at(const char* category, int32_t level, const char* format, ...);

/* ---- Status items: named texts that operators watch. */

/* A new item under `status_handle`, or null when the key is already in use there or the element
 * has been shut down. The caller gives the result back with kel_delete_user_status_item. */
KEL_EXPORT void* kel_create_user_status_item(void* status_handle, const char* key,
                                             const char* value);

/* Gives an item a new text. A null item: nothing happens. */
KEL_EXPORT void kel_set_user_status_item(void* item_handle, const char* value);

/* Removes an item and frees its key. A null item: nothing happens. The handle is dead after. */
KEL_EXPORT void kel_delete_user_status_item(void* status_handle, void* item_handle);

/* Publishes all entries of a map (texts of keys and values) at once. Borrows the map. */
KEL_EXPORT void kel_set_user_status_map(void* status_handle, map_block* values);

/* ---- Life cycle. */

/* Tells whether the host that `host_handle` stands for is going down. Result 0: the answer is in
 * *shutting_down; any other: the query failed and *shutting_down is untouched. */
KEL_EXPORT int32_t kel_is_host_shutting_down(void* host_handle, bool* shutting_down);

#ifdef __cplusplus
}
#endif

#endif /* KEL_HOST_SERVICES_H */
