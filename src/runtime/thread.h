// runtime/thread.h : a named thread of its own, which runs once.
//
// Role:       derive from it and override run; override signal where run can block.
// Threads:    start, stop and signal from any thread, several at once too, and from itself.
// Ownership:  counted. The runtime holds a reference (label "Thread::run") from start until run
//             has returned, so that an object is never deleted under its running thread. Whoever
//             calls start or stop holds a reference of its own. When the thread itself gives back
//             the last reference, the object is deleted on it, and nobody can wait for its end any
//             more: stop it first where its code may be unloaded.
// Errors:     start throws Exception. An exception that leaves run ends the process
//             (std::terminate).
// Invariants: 1) run is called at most once, on the new thread;
//             2) once stop has returned on another thread, run is not running and never will be;
//             3) SIGPIPE is blocked on the thread: a peer that hangs up is an error of the write.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <string>

#include "runtime/condition.h"
#include "runtime/export.h"
#include "runtime/mutex.h"
#include "runtime/ref_counted_object.h"

namespace com::orvex {

class OV_EXPORT Thread : public RefCountedObject {
 public:
  /// The system (top -H, gdb, /proc) shows the first kSystemNameBytes bytes of the name.
  explicit Thread(std::string name);

  /// Gives back the system's thread if stop never did; blocks for its last steps only.
  ~Thread() override;

  /// Starts the thread. Has no effect if it has been started before, be it running or at its end.
  /// Throws Exception, and leaves everything as it was, with one of
  ///   Thread "NAME" cannot be started: no reference to it is held
  ///   Thread "NAME" cannot be started: it has been stopped
  ///   Thread "NAME" cannot be started: REASON OF THE SYSTEM
  virtual void start();

  /// Asks the thread to end (signal) and waits without limit until it has. Called on the thread
  /// itself, asks only. On a thread that was never started or has been stopped before it returns at
  /// once, without signal. From then on start refuses. REQUIRES: no mutex held that run needs.
  virtual void stop();

  /// Asks the thread to end: from now on stopRequested is true. Does not wait. An override calls
  /// this one, then wakes run from whatever it waits for.
  virtual void signal();

  /// What the thread does. The result is for derived classes; the runtime does nothing with it.
  /// The default returns 0 at once.
  virtual int run();

  /// Whether the thread has been asked to end.
  bool stopRequested() const { return stopRequested_.load(std::memory_order_acquire); }

  /// Whether the caller is this thread.
  bool isCurrent() const;

  const std::string& name() const { return name_; }

  /// What the system keeps of a thread's name.
  static constexpr std::size_t kSystemNameBytes = 15;

 private:
  enum class Phase { NotStarted, Running, Joining, Joined };

  static void* entry(void* self) noexcept;
  bool launch();
  bool isCurrentLocked() const OV_REQUIRES(mutex_);
  [[noreturn]] void refuseStart(const std::string& reason) const;

  const std::string name_;
  std::atomic<bool> stopRequested_ = false;

  mutable Mutex mutex_{"Thread"};  // nothing is called while it is held
  Condition joined_{mutex_};
  Phase phase_ OV_GUARDED_BY(mutex_) = Phase::NotStarted;
  bool stopped_ OV_GUARDED_BY(mutex_) = false;
  pthread_t native_ OV_GUARDED_BY(mutex_) = {};  // valid while Running or Joining
};

}  // namespace com::orvex
