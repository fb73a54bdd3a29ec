// chainhost/signal_watcher.h : turns SIGINT and SIGTERM into calls on a thread of their own.
//
// Role:      the signals are blocked in every thread, so nothing is ever interrupted, and read
//            from a descriptor. Make it before any other thread: threads inherit the block.
//            A third signal ends the process at once, in case a plugin does not come to its end;
//            a time of grace may be set for the same case.
// Threads:   construction and destruction: one thread; the handlers run on the watcher's thread.
// Errors:    std::system_error when the system gives no descriptor.
#pragma once

#include <cstdint>
#include <functional>

#include "chainhost/file_descriptor.h"
#include "runtime/ref_counted_object.h"
#include "runtime/thread.h"

namespace chainhost {

// Blocks SIGINT and SIGTERM for the calling thread and those that it starts from now on.
void blockEndSignals();

// Waits for one of them and returns its number. REQUIRES: blockEndSignals.
int waitForEndSignal();

class SignalWatcher {
 public:
  using Handler = std::function<void(int number)>;
  using OverdueHandler = std::function<void()>;

  // Blocks the signals and starts the watching. `onOverdue` runs on the watcher's thread when
  // `graceMs` have passed since startGrace.
  SignalWatcher(Handler handler, OverdueHandler onOverdue, std::int64_t graceMs);
  // Ends the watching; no handler runs after.
  ~SignalWatcher();

  // From now on the process has the time of grace to come to its end. [any thread]
  void startGrace() noexcept { graceStarted_.set(); }

 private:
  class WatcherThread;

  int run();
  void readSignal();

  const Handler handler_;
  const OverdueHandler onOverdue_;
  const std::int64_t graceMs_;
  FileDescriptor signals_;
  Event stopped_;
  Event graceStarted_;
  int signalCount_ = 0;
  com::orvex::RefPtr<WatcherThread> thread_;
};

}  // namespace chainhost
