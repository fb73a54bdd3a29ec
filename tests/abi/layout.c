/* layout.c : the byte layout of what crosses the boundary, as a C compiler sees it. Compiling it
 * is the test. */
#include "kel/host_control.h"
#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kel/plugin.h"
#include "kel/types.h"

_Static_assert(sizeof(void*) == 8, "64-bit processes");

_Static_assert(sizeof(kel_data) == 16, "value");
_Static_assert(_Alignof(kel_data) == 8, "value");
_Static_assert(offsetof(kel_data, payload) == 0, "value");
_Static_assert(sizeof(((kel_data*)0)->payload) == 8, "value");
_Static_assert(offsetof(kel_data, tag) == 8, "value");
_Static_assert(sizeof(((kel_data*)0)->tag) == 4, "value");
_Static_assert(offsetof(kel_data, padding) == 12, "value");

_Static_assert(sizeof(kel_message) == 24, "message");
_Static_assert(offsetof(kel_message, payload) == 0, "message");
_Static_assert(offsetof(kel_message, metadata) == 16, "message");

_Static_assert(sizeof(kel_map_slot) == 40, "slot");
_Static_assert(offsetof(kel_map_slot, hash) == 0, "slot");
_Static_assert(offsetof(kel_map_slot, key) == 8, "slot");
_Static_assert(offsetof(kel_map_slot, value) == 24, "slot");

_Static_assert(sizeof(map_block) == 32, "map");
_Static_assert(offsetof(map_block, label) == 0, "map");
_Static_assert(offsetof(map_block, count) == 8, "map");
_Static_assert(offsetof(map_block, capacity) == 16, "map");
_Static_assert(offsetof(map_block, deleted) == 24, "map");

_Static_assert(sizeof(list_block) == 16, "list");
_Static_assert(offsetof(list_block, count) == 0, "list");
_Static_assert(sizeof(buffer_block) == 8, "buffer");
_Static_assert(offsetof(buffer_block, length) == 0, "buffer");

_Static_assert(KEL_TAG_EMPTY == 0 && KEL_TAG_BOOLEAN == 1 && KEL_TAG_DOUBLE == 2, "tags");
_Static_assert(KEL_TAG_INTEGER == 3 && KEL_TAG_DECIMAL == 4 && KEL_TAG_STRING == 5, "tags");
_Static_assert(KEL_TAG_LIST == 6 && KEL_TAG_MAP == 7 && KEL_TAG_BUFFER == 8, "tags");
_Static_assert(KEL_TAG_CUSTOM == 9 && KEL_TAG_BORROWED_STRING == 10, "tags");
