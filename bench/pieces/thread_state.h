// pieces/thread_state.h : whether a thread of this process runs, as the system sees it.
//
// Threads:   any thread.
// Ownership: owns a descriptor.
// Errors:    std::system_error when the system does not tell.
#pragma once

#include <sys/types.h>

namespace pieces {

class ThreadState {
 public:
  /// By the number that the system gives the thread, which lives as long as this.
  explicit ThreadState(pid_t thread);
  ThreadState(ThreadState&& other) noexcept;
  ThreadState& operator=(ThreadState&&) = delete;
  ~ThreadState();

  /// False while it runs, and from when it is woken, even if there is no processor for it yet.
  bool isWaiting() const;

 private:
  int descriptor_;
};

}  // namespace pieces
