// pieces/consumers.h : threads that wait at a queue as the workers of a transport do.
//
// Role:      one producer hands one item after the other over to them.
// Threads:   all operations belong to the producer's thread.
// Ownership: borrows the queue, terminates it, and waits for the threads at the end.
// Errors:    ThreadState's.
#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <thread>
#include <vector>

#include "bench/pieces/thread_state.h"
#include "transport/affinity_queue.h"

namespace pieces {

class Consumers {
 public:
  /// One thread for each consumer of the queue; each has taken one item when this returns.
  explicit Consumers(com::corvane::connectivity::plugins::AffinityQueue& queue);
  ~Consumers();
  Consumers(const Consumers&) = delete;
  Consumers& operator=(const Consumers&) = delete;

  /// Adds one item and returns when a consumer has taken it.
  void hand(std::optional<std::uint64_t> keyHash);

  /// Returns when every consumer waits for an item. Those that were woken in vain take longest.
  void awaitIdle() const;

  /// The items that one consumer has taken, the one of the beginning included.
  std::uint64_t takenBy(std::size_t consumer) const { return consumers_[consumer].taken; }

  std::uint64_t takenByAll() const;

  /// How often a consumer has begun to wait.
  static std::int64_t waits();

 private:
  struct Consumer {
    std::atomic<std::uint64_t> taken = 0;
    pid_t thread = 0;  // written before it takes its first item
  };

  void consume(std::size_t index);
  bool areIdle() const;

  com::corvane::connectivity::plugins::AffinityQueue& queue_;
  sem_t handedOver_;  // of the system: one of the standard library looks again before it waits
  std::vector<Consumer> consumers_;
  std::vector<std::thread> threads_;
  std::vector<ThreadState> states_;
};

}  // namespace pieces
