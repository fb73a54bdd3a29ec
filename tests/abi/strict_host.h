// abi/strict_host.h : a host of its own make that knows nothing but the C headers, and watches.
//
// Role:      defines every kel_ function of kel/host_values.h and kel/host_services.h in the
// program
//            that links it, which exports them to the plugin. It lays values out in its own way,
//            writes down each call that a plugin makes, and keeps account of all memory.
// Threads:   any thread, internal lock. One object at a time, made by the test.
// Ownership: what a plugin got is the plugin's until it is given back: see live().
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kel/types.h"

namespace test_support {

class StrictHost {
 public:
  StrictHost();
  ~StrictHost();
  StrictHost(const StrictHost&) = delete;
  StrictHost& operator=(const StrictHost&) = delete;

  // ---- What it did

  /// The calls of services in their order:
  ///   "level CATEGORY", "log LEVEL CATEGORY: FORMAT" with " | VALUE" for each value,
  ///   "create KEY=VALUE", "set KEY=VALUE", "delete KEY", "publish COUNT", "down?",
  ///   "free map null" and "free map COUNT" for a map that a plugin gave back by itself,
  ///   "free custom" likewise.
  /// Handles that are not the ones that were given make the call end in " (wrong handle)".
  std::vector<std::string> calls() const;
  void clearCalls();

  /// Blocks and texts that have not been given back.
  std::size_t live() const;

  /// What was given back twice, or was never given out.
  std::size_t wrongReleases() const;

  /// Allocations of any kind so far, status items included.
  std::uint64_t allocations() const;

  // ---- What it is to do

  /// The `number`-th allocation from now on, counted from 1, throws std::bad_alloc; 0: none does.
  void failAllocation(std::uint64_t number);

  void setLevel(std::int32_t level);
  void hashWith(std::function<std::uint64_t(const char*)> hash);

  /// The status item with this number, counted from 1, is refused.
  void refuseItem(std::uint64_t number);

  /// What the queries for the host's end give back.
  void answerDown(std::int32_t result, bool goingDown);

  void* statusHandle();
  void* hostHandle();

  struct State;

 private:
  const std::unique_ptr<State> state_;
};

/// Releases an owned value, without writing that down.
void releaseValue(kel_data value);

}  // namespace test_support
