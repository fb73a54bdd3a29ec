#include "runtime/schedulable_queue.h"

namespace com::orvex {
namespace {

thread_local SchedulableQueue* currentQueue = nullptr;

}  // namespace

SchedulableQueue::SchedulableQueue() = default;

SchedulableQueue::~SchedulableQueue() = default;

SchedulableQueue* getCurrentSchedulableQueue() { return currentQueue; }

AutoSchedulableQueue::AutoSchedulableQueue(SchedulableQueue* queue) : earlier_(currentQueue) {
  if (queue != nullptr) currentQueue = queue;
}

AutoSchedulableQueue::~AutoSchedulableQueue() { currentQueue = earlier_; }

}  // namespace com::orvex
