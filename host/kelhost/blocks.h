// kelhost/blocks.h : where the elements of the host's blocks lie.
#pragma once

#include "kel/types.h"

namespace kelhost {

inline kel_data* elementsOf(list_block* list) { return reinterpret_cast<kel_data*>(list + 1); }
inline const kel_data* elementsOf(const list_block* list) {
  return reinterpret_cast<const kel_data*>(list + 1);
}

inline kel_map_slot* slotsOf(map_block* map) { return reinterpret_cast<kel_map_slot*>(map + 1); }
inline const kel_map_slot* slotsOf(const map_block* map) {
  return reinterpret_cast<const kel_map_slot*>(map + 1);
}

inline unsigned char* bytesOf(buffer_block* buffer) {
  return reinterpret_cast<unsigned char*>(buffer + 1);
}
inline const unsigned char* bytesOf(const buffer_block* buffer) {
  return reinterpret_cast<const unsigned char*>(buffer + 1);
}

/// Neither free nor deleted.
inline bool isOccupied(const kel_map_slot& slot) {
  return slot.hash > 1 || slot.key.tag != KEL_TAG_EMPTY;
}

}  // namespace kelhost

/// A custom object begins with the functions that release and copy it. The
/// program that makes custom objects lays out what follows.
struct custom_block {
  void (*release)(custom_block* block);              // null: nothing to release
  custom_block* (*copy)(const custom_block* block);  // null: the copy of such a value is empty
};
