// resources/next_function.h : the function that a function of this program stands in front of.
#pragma once

#include <dlfcn.h>

/// For the definition of a function of the system that libraries, too, shall find in this program.
#define RESOURCES_EXPORT __attribute__((visibility("default")))

namespace test_support {

template <typename Function>
Function nextFunction(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace test_support
