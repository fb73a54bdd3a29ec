// model/host_calls.h : which of the host's value functions the code under test calls.
//
// Role:      for programs linked with --wrap for each function that host_calls.cpp wraps: counts
//            the calls, then passes them on to the host. A test may stand in for some of them.
// Threads:   one thread; one object at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kel/types.h"

namespace test_support {

class HostCalls {
 public:
  HostCalls();
  ~HostCalls();
  HostCalls(const HostCalls&) = delete;
  HostCalls& operator=(const HostCalls&) = delete;

  /// Calls of a function since this object was made ("kel_copy_string").
  std::uint64_t count(const std::string& function) const;

  /// Calls of all of them.
  std::uint64_t total() const;

  /// The capacities that maps were allocated and reallocated with, in order.
  const std::vector<std::uint64_t>& capacities() const { return capacities_; }

  /// Instead of the host's function from now on.
  void reallocateMapWith(std::function<map_block*(map_block*, std::uint64_t)> function);
  void dataToStringWith(std::function<kel_data(kel_data)> function);

  /// Called at every kel_hash_string, and at every Platform::float64ToChar8, before it does its
  /// work: the places where a value that is hashed or written can change underneath.
  void whenHashing(std::function<void()> function) { whenHashing_ = std::move(function); }
  void whenWritingDouble(std::function<void()> function) {
    whenWritingDouble_ = std::move(function);
  }

  /// The host's own function, not counted.
  static map_block* hostsReallocateMap(map_block* block, std::uint64_t capacity);

  // What the wrapped functions call.
  static void note(const char* function);
  static map_block* allocateMap(std::uint64_t capacity);
  static map_block* reallocateMap(map_block* block, std::uint64_t capacity);
  static kel_data dataToString(kel_data value);
  static void noteHashing();
  static void noteWritingDouble();

 private:
  std::map<std::string, std::uint64_t> counts_;
  std::vector<std::uint64_t> capacities_;
  std::function<map_block*(map_block*, std::uint64_t)> reallocateMap_;
  std::function<kel_data(kel_data)> dataToString_;
  std::function<void()> whenHashing_;
  std::function<void()> whenWritingDouble_;
};

}  // namespace test_support
