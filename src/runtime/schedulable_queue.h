// runtime/schedulable_queue.h : which of the host's queues the calling thread works for.
//
// Role:      the host schedules its work from queues and marks every thread that works for one. A
//            component that hands work to threads of its own notes the queue where the work comes
//            in and marks its thread with it while it performs that work.
// Threads:   the mark is the calling thread's own.
// Ownership: queues are the host's; everything here borrows them.
#pragma once

#include "runtime/export.h"

namespace com::orvex {

/// One queue of the host. What it does is the host's: derive from it.
class OV_EXPORT SchedulableQueue {
 public:
  SchedulableQueue();
  SchedulableQueue(const SchedulableQueue&) = delete;
  SchedulableQueue& operator=(const SchedulableQueue&) = delete;
  virtual ~SchedulableQueue();
};

/// The queue that the calling thread works for, or null.
OV_EXPORT SchedulableQueue* getCurrentSchedulableQueue();

/// Marks the thread as working for a queue, from construction to destruction; then the earlier mark
/// stands again. A null queue changes nothing. REQUIRES: scopes of one thread end innermost first.
class OV_EXPORT AutoSchedulableQueue {
 public:
  explicit AutoSchedulableQueue(SchedulableQueue* queue);
  AutoSchedulableQueue(const AutoSchedulableQueue&) = delete;
  AutoSchedulableQueue& operator=(const AutoSchedulableQueue&) = delete;
  ~AutoSchedulableQueue();

 private:
  SchedulableQueue* const earlier_;
};

}  // namespace com::orvex
