// transport/affinity_queue.h : work from delivering threads to a fixed set of consumers, in order.
//
// Role:      items of one key go to one consumer, in the order added; items without a key to
//            whichever consumer comes first. Bounds the number of waiting items.
// Threads:   any thread. One mutex, "AffinityQueue", guards everything; a producer holds it over a
//            whole batch (mutex()), consumers take it inside take.
// Ownership: owns the items until they are taken.
// Errors:    std::runtime_error "Must have at least one consumer", "This queue has been
//            terminated"; std::bad_alloc, after which the queue is as it was before.
// Invariants: 1) a consumer takes keyed and unkeyed items in the order of their adding; 2) an
//            unkeyed item is taken once; 3) terminated wins over items that still wait.
// Limits:    Limits::capacity items, beyond which a producer that may wait does.
//
// Who is woken: for each item one consumer that waits and has not been called for another item
// yet, by a condition of its own; an item that finds none will be looked for by whoever comes free.
// Calls go out once a batch, after the mutex has been given back where that can be: a thread that
// wakes to find the mutex held goes to sleep again.
//
// An unkeyed item belongs at the tail of every consumer's list. It is kept once, on a list that
// all consumers share, with its number in the order of adding: a consumer's list is the merge of
// its own and the shared one by that number. Adding and taking cost the same for any number of
// consumers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <variant>
#include <vector>

#include "model/message.h"
#include "plugin/logger.h"
#include "runtime/condition.h"
#include "runtime/mutex.h"
#include "transport/sentinel.h"

namespace com::corvane::connectivity::plugins {

/// A request, or a barrier. The queue never looks inside.
using WorkItem = std::variant<connectivity10_15_0::Message, std::shared_ptr<Sentinel>>;

class AffinityQueue {
 public:
  struct Limits {
    std::size_t capacity = 2048;      // items; a producer waits at this count
    std::size_t rearmLevel = 1848;    // items; the "full" line may be written again from here down
    std::int64_t waitSliceMs = 1000;  // a waiting producer looks again after this time
    // For so long a waiting producer is not woken for the first room there is, but for an eighth of
    // the capacity: where consumers are fast, each item would cost two changes of threads.
    std::int64_t patienceMs = 4;
  };

  /// Borrows the logger. Throws "Must have at least one consumer" for none.
  AffinityQueue(std::size_t consumers, const connectivity10_15_0::Logger& logger);
  AffinityQueue(std::size_t consumers, const connectivity10_15_0::Logger& logger, Limits limits);

  /// What a producer holds while it adds.
  orvex::Mutex& mutex() { return mutex_; }

  /// Adds an item for the consumer that `keyHash` names, modulo the number of consumers; without a
  /// hash, for the first consumer that is free. Waits while the queue is full unless `noWait` is
  /// set or the queue is terminated. Wakes nobody: call broadcast after the last item. An item that
  /// there is no memory for stays the caller's. REQUIRES: mutex() held; released while waiting.
  void add(WorkItem&& item, std::optional<std::uint64_t> keyHash, bool noWait);

  /// Adds a barrier to every consumer's list, all copies in one hold of the mutex, after waiting
  /// for space once. REQUIRES: as add.
  void addSentinel(const std::shared_ptr<Sentinel>& sentinel, bool noWait);

  /// Wakes the consumers for whom something has been added since the last time. REQUIRES: mutex()
  /// held.
  void broadcast();

  /// The same as the end of a batch: gives the mutex back and wakes them. REQUIRES: `lock` holds
  /// mutex().
  void broadcastAndUnlock(orvex::AutoMutex& lock);

  /// Waits for the next item of a consumer and takes it; `onTake` runs while the mutex is held,
  /// `onIdle` without it, once, when there is no item yet.
  /// Throws "This queue has been terminated".
  WorkItem take(std::size_t consumer, const std::function<void()>& onTake = nullptr,
                const std::function<void()>& onIdle = nullptr);

  /// Waits for a time, or until the queue is terminated.
  void pause(std::int64_t ms);

  /// Ends every wait; from now on take fails and add no longer waits.
  void terminate();

  /// May be read at any time, without the mutex.
  bool isTerminated() const { return terminated_.load(std::memory_order_acquire); }

  /// The items added and not yet taken, as of some moment close to the call. Takes no lock.
  std::size_t count() const { return count_.load(std::memory_order_relaxed); }

  std::size_t consumers() const { return consumers_.size(); }

  /// How many consumers wait, how often one has been woken, and how often a producer has waited.
  /// REQUIRES: mutex() held.
  std::size_t waitingConsumersForTest() const { return waitingConsumers_; }
  std::size_t consumerWakesForTest() const { return consumerWakes_; }
  std::size_t producerWaitsForTest() const { return producerWaits_; }

 private:
  struct Entry {
    std::uint64_t number;  // in the order of adding
    WorkItem item;
  };
  using List = std::deque<Entry>;

  struct Consumer {
    explicit Consumer(orvex::Mutex& mutex) : condition(mutex) {}

    List list;
    orvex::Condition condition;
    std::size_t idleIndex = kNotIdle;  // in idle_
  };
  static constexpr std::size_t kNotIdle = ~std::size_t{0};

  void waitForSpace();
  void awaitTake();
  bool hasRoom() const { return count() < limits_.capacity || isTerminated(); }
  void append(List& list, WorkItem&& item);
  List* nextListOf(Consumer& consumer);
  void awaitItem(Consumer& consumer);
  void call(Consumer& consumer);
  void removeFromIdle(Consumer& consumer);

  const Limits limits_;
  const connectivity10_15_0::Logger& logger_;
  orvex::Mutex mutex_{"AffinityQueue"};
  std::deque<Consumer> consumers_;
  orvex::Condition room_{mutex_};   // producers that wait
  orvex::Condition pause_{mutex_};  // threads in pause
  std::atomic<bool> terminated_ = false;
  std::atomic<std::size_t> count_ = 0;  // changed under the mutex
  bool fullReported_ = false;
  std::vector<Consumer*> idle_;    // those that wait and have not been called
  std::vector<Consumer*> called_;  // those that are still to be woken
  std::size_t waitingConsumers_ = 0;
  std::size_t consumerWakes_ = 0;
  std::size_t patientProducers_ = 0;
  std::size_t waitingProducers_ = 0;  // without those
  std::size_t producerWaits_ = 0;
  std::uint64_t nextNumber_ = 0;
  List shared_;
};

}  // namespace com::corvane::connectivity::plugins
