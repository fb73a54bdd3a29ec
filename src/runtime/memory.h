// runtime/memory.h : memory that passes from one side of a library's edge to the other.
//
// Threads: any thread.
#pragma once

#include <stddef.h>

#include "runtime/export.h"

extern "C" {

/// Allocates `bytes` bytes, aligned for every type, of unspecified content. Returns null when there
/// is no memory. What it returns may be given back with ov_free or with the C library's free.
OV_EXPORT void* ov_malloc(size_t bytes);

/// Gives back what ov_malloc, or the C library's malloc, returned. Null is accepted.
OV_EXPORT void ov_free(void* block);
}
