/* kel/host_control.h : what a program that links libkelhost.so steers and reads of it. Plugins do
 * not call these. All functions: [any thread].
 *
 * Status and host handles are tokens: libkelhost never dereferences them, so any pointer that the
 * program chose when it created the plugin will do, null included.
 */
#ifndef KEL_HOST_CONTROL_H
#define KEL_HOST_CONTROL_H

#include <stdbool.h>

#include "kel/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Sets the level of every category that begins with `prefix` ("" : all). The longest matching
 * prefix decides; without any the level is 4 (INFO). A plugin's logger reads the level when it is
 * made, so running plugins keep theirs. */
KEL_EXPORT void kel_host_set_log_level(const char* prefix, int32_t level);

/* The level of a name as it stands in configuration files, without regard to case: "OFF" (-1),
 * "CRIT" 0, "FATAL" 1, "ERROR" 2, "WARN" 3, "INFO" 4, "DEBUG" 5, "TRACE" 6. Any other: -2. */
KEL_EXPORT int32_t kel_host_log_level_of(const char* name);

/* Receives each line instead of standard error: the finished text without time stamp. */
typedef void (*kel_host_log_sink)(void* context, const char* category, int32_t level,
                                  const char* text);

/* Sends log lines to `sink` from now on; null: to standard error again. Does not return while a
 * call of the earlier sink is running. */
KEL_EXPORT void kel_host_set_log_sink(kel_host_log_sink sink, void* context);

/* One status item as it stands. The texts live during the visitor's call. */
typedef struct kel_host_status_item {
  const char* key;
  const char* value;
  uint64_t changes;      /* times that the value was set since the item was created */
  int64_t changed_at_ms; /* milliseconds since 1970-01-01 UTC of the last set, or of creation */
} kel_host_status_item;

typedef void (*kel_host_status_visitor)(void* context, const kel_host_status_item* item);

/* Calls `visitor` for every item of a status handle in the order of creation, then for the entries
 * that kel_set_user_status_map left, in the map's slot order. The visitor must not call kel_
 * functions on status items. */
KEL_EXPORT void kel_host_visit_status(void* status_handle, kel_host_status_visitor visitor,
                                      void* context);

/* Marks the element of a status handle as shut down: creating further items fails. False: undone,
 * and the entries left by kel_set_user_status_map are forgotten. */
KEL_EXPORT void kel_host_close_status(void* status_handle, bool closed);

/* What kel_is_host_shutting_down answers for a host handle; false until set. */
KEL_EXPORT void kel_host_set_shutting_down(void* host_handle, bool shutting_down);

#ifdef __cplusplus
}
#endif

#endif /* KEL_HOST_CONTROL_H */
