// chainhost/signal_watcher.h : turns SIGINT and SIGTERM into calls on a thread of their own.
//
// Role:      the signals are blocked in every thread, so nothing is ever interrupted, and read
//            from a descriptor. Make it before any other thread: threads inherit the block.
//            A third signal ends the process at once, in case a plugin does not come to its end.
// Threads:   construction and stop: one thread; the handler runs on the watcher's thread.
// Errors:    std::system_error when the system gives no descriptor.
#pragma once

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

  // Blocks the signals and starts the watching.
  explicit SignalWatcher(Handler handler);
  ~SignalWatcher();

 private:
  class WatcherThread;

  int run();

  const Handler handler_;
  FileDescriptor signals_;
  Event stopped_;
  com::orvex::RefPtr<WatcherThread> thread_;
};

}  // namespace chainhost
