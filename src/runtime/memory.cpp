#include "runtime/memory.h"

#include <cstdlib>

void* ov_malloc(size_t bytes) { return std::malloc(bytes); }

void ov_free(void* block) { std::free(block); }
