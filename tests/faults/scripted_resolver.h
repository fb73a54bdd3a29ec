// faults/scripted_resolver.h : the program's look-up of one host name, which does what a test says.
//
// Role:      stands in for the system's getaddrinfo in this program, so that no test depends on
//            which resolver a machine has, or on how fast it is. All other names are passed on.
// Threads:   any; one object at a time.
#pragma once

#include <cstddef>

namespace test_support {

class ScriptedResolver {
 public:
  static constexpr char kName[] = "localhost";

  /// Looking kName up fails with this error of getaddrinfo; 0: it is 127.0.0.1.
  explicit ScriptedResolver(int error);
  ~ScriptedResolver();
  ScriptedResolver(const ScriptedResolver&) = delete;
  ScriptedResolver& operator=(const ScriptedResolver&) = delete;

  void setError(int error);

  /// How often kName has been looked up.
  std::size_t lookUps() const;
};

}  // namespace test_support
