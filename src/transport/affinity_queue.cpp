#include "transport/affinity_queue.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::Logger;
using connectivity10_15_0::LogLevel;

AffinityQueue::AffinityQueue(std::size_t consumers, const Logger& logger)
    : AffinityQueue(consumers, logger, Limits()) {}

AffinityQueue::AffinityQueue(std::size_t consumers, const Logger& logger, Limits limits)
    : limits_(limits), logger_(logger) {
  if (consumers == 0) throw std::runtime_error("Must have at least one consumer");
  for (std::size_t i = 0; i < consumers; ++i) consumers_.emplace_back(mutex_);
  idle_.reserve(consumers);  // so that nothing allocates later
  called_.reserve(consumers);
}

void AffinityQueue::broadcast() {
  for (Consumer* const consumer : called_) consumer->condition.broadcast();
  called_.clear();
}

void AffinityQueue::broadcastAndUnlock(orvex::AutoMutex& lock) {
  std::array<Consumer*, 32> woken;
  std::size_t count = 0;
  while (!called_.empty() && count < woken.size()) {
    woken[count++] = called_.back();
    called_.pop_back();
  }
  broadcast();  // of more than those
  lock.unlock();
  for (std::size_t i = 0; i < count; ++i) woken[i]->condition.broadcast();
}

void AffinityQueue::removeFromIdle(Consumer& consumer) {
  Consumer* const last = idle_.back();
  idle_[consumer.idleIndex] = last;
  last->idleIndex = consumer.idleIndex;
  idle_.pop_back();
  consumer.idleIndex = kNotIdle;
}

// Has it woken by the next broadcast, if it waits and has not been called already.
void AffinityQueue::call(Consumer& consumer) {
  if (consumer.idleIndex == kNotIdle) return;
  removeFromIdle(consumer);
  called_.push_back(&consumer);
}

void AffinityQueue::waitForSpace() {
  while (true) {
    const std::size_t items = count();
    if (fullReported_ && items <= limits_.rearmLevel) fullReported_ = false;
    if (hasRoom()) return;
    if (!fullReported_) {
      logger_.log(LogLevel::Debug,
                  "AffinityQueue is full, must wait for something to be removed before adding more "
                  "items - %d",
                  static_cast<std::int32_t>(items));
      fullReported_ = true;
    }
    // Consumers that sleep while they are called to what this batch has added would never make
    // room.
    broadcast();
    awaitTake();
  }
}

// Waits until there is room, for a slice at the most. Only takes end it, and the queue's end:
// producers that woke each other would do so without end.
void AffinityQueue::awaitTake() {
  ++producerWaits_;
  ++patientProducers_;
  const bool isWoken = room_.timedwaitRelative(limits_.patienceMs);
  --patientProducers_;
  if (isWoken || hasRoom()) return;
  ++waitingProducers_;
  room_.timedwaitRelative(limits_.waitSliceMs - limits_.patienceMs);
  --waitingProducers_;
}

// The item is moved only once there is memory for it.
void AffinityQueue::append(List& list, WorkItem&& item) {
  list.emplace_back(nextNumber_, std::move(item));
  ++nextNumber_;
  count_.store(count() + 1, std::memory_order_relaxed);
}

void AffinityQueue::add(WorkItem&& item, std::optional<std::uint64_t> keyHash, bool noWait) {
  if (!noWait) waitForSpace();
  if (keyHash) {
    Consumer& consumer = consumers_[*keyHash % consumers_.size()];
    append(consumer.list, std::move(item));
    call(consumer);
  } else {
    append(shared_, std::move(item));
    if (!idle_.empty()) call(*idle_.back());  // whose memory is most likely to be in the cache
  }
}

void AffinityQueue::addSentinel(const std::shared_ptr<Sentinel>& sentinel, bool noWait) {
  // Waiting between two copies would let another producer's barrier in: two barriers in different
  // orders on two lists block each other for ever.
  if (!noWait) waitForSpace();
  std::size_t added = 0;
  try {
    for (; added < consumers_.size(); ++added) append(consumers_[added].list, WorkItem(sentinel));
  } catch (...) {
    // Who comes to a barrier that others never see would wait there for ever.
    count_.store(count() - added, std::memory_order_relaxed);
    while (added > 0) consumers_[--added].list.pop_back();
    throw;
  }
  while (!idle_.empty()) call(*idle_.back());
}

// The list that the consumer's next item heads, or null.
AffinityQueue::List* AffinityQueue::nextListOf(Consumer& consumer) {
  List& own = consumer.list;
  if (own.empty()) return shared_.empty() ? nullptr : &shared_;
  if (shared_.empty() || own.front().number < shared_.front().number) return &own;
  return &shared_;
}

void AffinityQueue::awaitItem(Consumer& consumer) {
  consumer.idleIndex = idle_.size();
  idle_.push_back(&consumer);
  ++waitingConsumers_;
  consumer.condition.wait();
  --waitingConsumers_;
  ++consumerWakes_;
  if (consumer.idleIndex != kNotIdle) removeFromIdle(consumer);  // woken without a call
}

WorkItem AffinityQueue::take(std::size_t index, const std::function<void()>& onTake,
                             const std::function<void()>& onIdle) {
  Consumer& consumer = consumers_[index];
  orvex::AutoMutex lock(mutex_);
  List* list = nextListOf(consumer);
  if (list == nullptr && onIdle && !isTerminated()) {
    lock.unlock();
    onIdle();
    lock.lock();
    list = nextListOf(consumer);
  }
  while (list == nullptr && !isTerminated()) {
    awaitItem(consumer);
    list = nextListOf(consumer);
  }
  if (isTerminated()) throw std::runtime_error("This queue has been terminated");
  WorkItem item = std::move(list->front().item);
  list->pop_front();
  const std::size_t left = count() - 1;
  count_.store(left, std::memory_order_relaxed);
  if (onTake) onTake();
  const bool isWanted = left <= limits_.capacity - limits_.capacity / 8 && patientProducers_ > 0;
  const bool wakesProducers = isWanted || waitingProducers_ > 0;
  lock.unlock();
  if (wakesProducers) room_.broadcast();
  return item;
}

void AffinityQueue::pause(std::int64_t ms) {
  orvex::AutoMutex lock(mutex_);
  if (!isTerminated()) pause_.timedwaitRelative(ms);
}

void AffinityQueue::terminate() {
  orvex::AutoMutex lock(mutex_);
  terminated_.store(true, std::memory_order_release);
  for (Consumer& consumer : consumers_) consumer.condition.broadcast();
  room_.broadcast();
  pause_.broadcast();
}

}  // namespace com::corvane::connectivity::plugins
