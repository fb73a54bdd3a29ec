/* kel/types.h : the values that a plugin and its host share, byte for byte.
 *
 * Conventions of all headers in this directory
 *  1) Plain C11, x86-64 System V calling convention; the headers also compile as C++20.
 *  2) Texts are NUL-terminated bytes, UTF-8 unless said otherwise; lengths and counts are in the
 *     unit that the name says (bytes, entries, slots).
 *  3) A kel_data travels by value, in two general registers. Passing one transfers ownership of
 *     what it points to only where the function says so.
 *  4) A null block pointer is an empty map, list or buffer; every kel_free_... accepts null.
 *  5) Status codes are int32_t, 0 for success. Handles are opaque void pointers.
 *  6) Every block is allocated and released by the host's functions, never by malloc or free.
 *
 * Thread tags used in the function comments
 *  [any thread]   may be called from any thread at any time, also concurrently.
 *  [owner]        the caller owns the value for the duration of the call; no locking inside.
 *
 * Not supported: 32-bit processes, texts with an embedded NUL, lists and maps of more than 2^63
 * entries.
 */
#ifndef KEL_TYPES_H
#define KEL_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks a function that a shared library offers to others. */
#define KEL_EXPORT __attribute__((visibility("default")))

/* Kinds of a value: the tag of a kel_data. Any other number is an unknown kind. */
enum kel_tag {
  KEL_TAG_EMPTY = 0,
  KEL_TAG_BOOLEAN = 1,         /* first payload byte: 0 false, anything else true */
  KEL_TAG_DOUBLE = 2,          /* IEEE 754 binary64 */
  KEL_TAG_INTEGER = 3,         /* signed 64-bit */
  KEL_TAG_DECIMAL = 4,         /* IEEE 754 decimal64, binary integer encoding */
  KEL_TAG_STRING = 5,          /* owned text, released with kel_free_string */
  KEL_TAG_LIST = 6,            /* list_block, released with kel_free_vector */
  KEL_TAG_MAP = 7,             /* map_block, released with kel_free_map */
  KEL_TAG_BUFFER = 8,          /* buffer_block, released with kel_free_buffer */
  KEL_TAG_CUSTOM = 9,          /* custom_block, released with kel_free_custom */
  KEL_TAG_BORROWED_STRING = 10 /* text that the value does not own; never released */
};

typedef struct map_block map_block;
typedef struct list_block list_block;
typedef struct buffer_block buffer_block;
typedef struct custom_block custom_block; /* laid out by the host alone */

/* One value: 8 payload bytes, the tag, 4 bytes of padding. */
typedef struct kel_data {
  union {
    int64_t integer; /* first, so that the record is of integer class in the calling convention */
    uint64_t bits;
    double number;
    unsigned char boolean;
    char* string;
    list_block* list;
    map_block* map;
    buffer_block* buffer;
    custom_block* custom;
  } payload;
  int32_t tag;
  int32_t padding;
} kel_data;

/* A list: the header, then `count` elements in order. */
struct list_block {
  uint64_t count;
  uint64_t host_word; /* the host's own; a plugin neither reads nor writes it */
  /* kel_data elements[count]; */
};

/* A buffer: its length, then the bytes. */
struct buffer_block {
  uint64_t length;
  /* unsigned char bytes[length]; */
};

/* A slot of a map. Free: hash 0 and key tag 0. Deleted: hash 1 and key tag 0. Else occupied. */
typedef struct kel_map_slot {
  uint64_t hash;
  kel_data key;
  kel_data value;
} kel_map_slot;

/* A map: open addressing with linear probing from (hash modulo capacity). */
struct map_block {
  const char* label; /* null, or the host's name for the map; a plugin only compares it */
  uint64_t count;    /* occupied slots */
  uint64_t capacity; /* slots */
  uint64_t deleted;  /* deleted slots */
  /* kel_map_slot slots[capacity]; */
};

/* One message: its payload, then its metadata's map block (null: no metadata). */
typedef struct kel_message {
  kel_data payload;
  map_block* metadata;
} kel_message;

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(kel_data) == 16 && offsetof(kel_data, tag) == 8);
static_assert(sizeof(list_block) == 16 && sizeof(buffer_block) == 8);
static_assert(sizeof(kel_map_slot) == 40 && offsetof(kel_map_slot, value) == 24);
static_assert(sizeof(map_block) == 32 && offsetof(map_block, deleted) == 24);
static_assert(sizeof(kel_message) == 24 && offsetof(kel_message, metadata) == 16);
#endif

#endif /* KEL_TYPES_H */
