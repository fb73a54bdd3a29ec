#include "transport/affinity_queue.h"

#include <stdexcept>
#include <utility>

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::Logger;
using connectivity10_15_0::LogLevel;

AffinityQueue::AffinityQueue(std::size_t consumers, const Logger& logger)
    : AffinityQueue(consumers, logger, Limits()) {}

AffinityQueue::AffinityQueue(std::size_t consumers, const Logger& logger, Limits limits)
    : limits_(limits), logger_(logger), condition_(mutex_), lists_(consumers) {
  if (consumers == 0) throw std::runtime_error("Must have at least one consumer");
}

void AffinityQueue::broadcast() {
  if (unannounced_ && waitingConsumers_ > 0) condition_.broadcast();
  unannounced_ = false;
}

void AffinityQueue::waitForSpace() {
  while (true) {
    const std::size_t items = count();
    if (fullReported_ && items <= limits_.rearmLevel) fullReported_ = false;
    if (items < limits_.capacity || isTerminated()) return;
    if (!fullReported_) {
      logger_.log(LogLevel::Debug,
                  "AffinityQueue is full, must wait for something to be removed before adding more "
                  "items - %d",
                  static_cast<std::int32_t>(items));
      fullReported_ = true;
    }
    // What this batch has added so far is unannounced: consumers that sleep would never make room.
    // Later passes announce nothing: two producers would wake each other without end.
    broadcast();
    ++producerWaits_;
    ++waitingProducers_;
    condition_.timedwaitRelative(limits_.waitSliceMs);
    --waitingProducers_;
  }
}

// The item is moved only once there is memory for it.
void AffinityQueue::append(List& list, WorkItem&& item) {
  list.emplace_back(nextNumber_, std::move(item));
  ++nextNumber_;
  unannounced_ = true;
  count_.store(count() + 1, std::memory_order_relaxed);
}

void AffinityQueue::add(WorkItem&& item, std::optional<std::uint64_t> keyHash, bool noWait) {
  if (!noWait) waitForSpace();
  append(keyHash ? lists_[*keyHash % lists_.size()] : shared_, std::move(item));
}

void AffinityQueue::addSentinel(const std::shared_ptr<Sentinel>& sentinel, bool noWait) {
  // Waiting between two copies would let another producer's barrier in: two barriers in different
  // orders on two lists block each other for ever.
  if (!noWait) waitForSpace();
  std::size_t added = 0;
  try {
    for (; added < lists_.size(); ++added) append(lists_[added], WorkItem(sentinel));
  } catch (...) {
    // Who comes to a barrier that others never see would wait there for ever.
    count_.store(count() - added, std::memory_order_relaxed);
    while (added > 0) lists_[--added].pop_back();
    throw;
  }
}

// The list that the consumer's next item heads, or null.
AffinityQueue::List* AffinityQueue::nextListOf(std::size_t consumer) {
  List& own = lists_[consumer];
  if (own.empty()) return shared_.empty() ? nullptr : &shared_;
  if (shared_.empty() || own.front().number < shared_.front().number) return &own;
  return &shared_;
}

WorkItem AffinityQueue::take(std::size_t consumer, const std::function<void()>& onTake) {
  orvex::AutoMutex lock(mutex_);
  List* list = nextListOf(consumer);
  while (list == nullptr && !isTerminated()) {
    ++waitingConsumers_;
    condition_.wait();
    --waitingConsumers_;
    list = nextListOf(consumer);
  }
  if (isTerminated()) throw std::runtime_error("This queue has been terminated");
  WorkItem item = std::move(list->front().item);
  list->pop_front();
  count_.store(count() - 1, std::memory_order_relaxed);
  if (onTake) onTake();
  if (waitingProducers_ > 0) condition_.broadcast();
  return item;
}

void AffinityQueue::pause(std::int64_t ms) {
  orvex::AutoMutex lock(mutex_);
  if (!isTerminated()) condition_.timedwaitRelative(ms);
}

void AffinityQueue::terminate() {
  orvex::AutoMutex lock(mutex_);
  terminated_.store(true, std::memory_order_release);
  condition_.broadcast();
}

}  // namespace com::corvane::connectivity::plugins
