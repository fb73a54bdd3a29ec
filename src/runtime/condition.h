// runtime/condition.h : waiting until another thread says that something has changed.
//
// Threads:    any thread. The waits need the condition's mutex held by the caller.
// Ownership:  borrows the mutex, which outlives it. REQUIRES at destruction: nobody waits.
// Invariants: 1) the mutex is given back while waiting, and held again when a wait returns;
//             2) a wait may return woken without a broadcast: look at the state again, in a loop.
#pragma once

#include <pthread.h>

#include <cstdint>

#include "runtime/export.h"
#include "runtime/mutex.h"

namespace com::orvex {

// The waits carry no lock annotation: the compiler cannot know that the mutex they need is the one
// that was given to the constructor. In a debug build the library checks it (see runtime/mutex.h).
class OV_EXPORT Condition {
 public:
  explicit Condition(Mutex& mutex);
  Condition(const Condition&) = delete;
  Condition& operator=(const Condition&) = delete;
  ~Condition();

  /// Blocks until woken. REQUIRES: the mutex is held.
  void wait();

  /// Blocks until woken or until `ms` milliseconds have passed on the monotonic clock, which no
  /// change of the system's time disturbs. Returns true when woken, false when the time was up. A
  /// time of 0 or less is up at once (the mutex is still given back for a moment). May block longer
  /// than the time, by as long as it takes to get the mutex again. REQUIRES: the mutex is held.
  bool timedwaitRelative(std::int64_t ms);

  /// Wakes every thread that waits. Needs no mutex; a waker that changes the state under the mutex
  /// is never missed.
  void broadcast();

 private:
  Mutex& mutex_;
  pthread_cond_t native_;
};

}  // namespace com::orvex
