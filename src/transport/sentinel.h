// transport/sentinel.h : a barrier that goes through the queue once for every consumer.
//
// Role:      shutdown and the flush rule put one on every consumer's list; no consumer passes it
//            before all have reached it. Start reading at awaitOthers.
// Threads:   any thread, internal lock ("Sentinel"), never held while anything else is called.
// Invariants: each consumer counts once, however often it is said to have come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/condition.h"
#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class Sentinel {
 public:
  /// For consumers 0 to `consumers` - 1, none of which has reached it.
  explicit Sentinel(std::size_t consumers)
      : condition_(mutex_), remaining_(consumers), reached_(consumers, false) {}

  /// Notes that a consumer has come, or never will; the last one wakes all that wait.
  void reach(std::size_t consumer);

  /// Waits until every consumer has reached it, for at most `sliceMs` milliseconds. Returns
  /// whether they have.
  bool waitFor(std::int64_t sliceMs);

 private:
  orvex::Mutex mutex_{"Sentinel"};
  orvex::Condition condition_;
  std::size_t remaining_;
  std::vector<bool> reached_;
};

}  // namespace com::corvane::connectivity::plugins
