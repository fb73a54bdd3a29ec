// model/scoped_environment.h : an environment variable, set for as long as an object lives.
//
// Threads: one thread; nothing else may read the environment at the time of a change.
#pragma once

#include <cstdlib>

namespace test_support {

class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
  ~ScopedEnvironment() { unsetenv(name_); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  const char* name_;
};

}  // namespace test_support
