/* kel/host_values.h : values and their memory. The host gives these functions, plugins call them.
 *
 * All of them: [any thread] for different values, [owner] for one value. They do not block and
 * call nothing back. Exhausted memory ends in the host's own way (libkelhost throws
 * std::bad_alloc); a null result never means "out of memory" unless the function says so.
 */
#ifndef KEL_HOST_VALUES_H
#define KEL_HOST_VALUES_H

#include "kel/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Deep copy. Borrows the argument; the caller owns the result. A borrowed string (tag 10) is
 * copied as an owned one (tag 5). Scalars and unknown kinds come back as they are. */
KEL_EXPORT kel_data kel_copy_data(kel_data value);

/* Newly allocated copy of a text, owned by the caller, released with kel_free_string.
 * REQUIRES: text is not null. */
KEL_EXPORT char* kel_copy_string(const char* text);

/* Releases a text made by the host. Null: nothing happens. */
KEL_EXPORT void kel_free_string(char* text);

/* The 64-bit hash that stands for a text as a map key. Equal texts have equal hashes, for the
 * life of the process at least. The result is never 0 or 1, the two marks of unoccupied slots.
 * REQUIRES: text is not null. */
KEL_EXPORT uint64_t kel_hash_string(const char* text);

/* A map of `capacity` free slots, no entries, null label; owned by the caller. */
KEL_EXPORT map_block* kel_allocate_map(uint64_t capacity);

/* A map of `capacity` slots with the entries (and the label) of `block`, placed by their stored
 * hashes; deleted slots are gone and their count is 0. Consumes `block` (null: an empty map).
 * A capacity below the entry count is raised to it. Keys and values are moved, not copied. */
KEL_EXPORT map_block* kel_reallocate_map(map_block* block, uint64_t capacity);

/* Releases a map with every key and value in it. Null: nothing happens. */
KEL_EXPORT void kel_free_map(map_block* block);

/* Releases a list with every element in it. Null: nothing happens. */
KEL_EXPORT void kel_free_vector(list_block* block);

/* A buffer of `length` zero bytes, owned by the caller. Length 0 gives a block, not null. */
KEL_EXPORT buffer_block* kel_allocate_buffer(uint64_t length);

/* Releases a buffer. Null: nothing happens. */
KEL_EXPORT void kel_free_buffer(buffer_block* block);

/* Releases a custom object. Null: nothing happens. */
KEL_EXPORT void kel_free_custom(custom_block* block);

/* The host's text of a value, as an owned string (tag 5) that the caller releases. Borrows the
 * argument. */
KEL_EXPORT kel_data kel_data_to_string(kel_data value);

#ifdef __cplusplus
}
#endif

#endif /* KEL_HOST_VALUES_H */
