#include "bench/pieces/consumers.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <stdexcept>

namespace pieces {

using com::corvane::connectivity::plugins::AffinityQueue;
using com::corvane::connectivity10_15_0::Message;
using com::orvex::AutoMutex;

Consumers::Consumers(AffinityQueue& queue) : queue_(queue), consumers_(queue.consumers()) {
  sem_init(&handedOver_, 0, 0);
  for (std::size_t i = 0; i < consumers_.size(); ++i) {
    threads_.emplace_back([this, i] { consume(i); });
  }
  for (std::size_t i = 0; i < consumers_.size(); ++i) {
    hand(i);
    states_.emplace_back(consumers_[i].thread);
  }
}

Consumers::~Consumers() {
  queue_.terminate();
  for (std::thread& thread : threads_) thread.join();
  sem_destroy(&handedOver_);
}

void Consumers::hand(std::optional<std::uint64_t> keyHash) {
  {
    AutoMutex lock(queue_.mutex());
    queue_.add(Message(), keyHash, false);
    queue_.broadcast();
  }
  while (sem_wait(&handedOver_) != 0 && errno == EINTR) continue;
}

void Consumers::awaitIdle() const {
  while (!areIdle()) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

// One that waits for the queue's mutex waits as well; but then another one is about to give it back
// and to wait, and is either seen running or counted.
bool Consumers::areIdle() const {
  const std::int64_t before = waits();
  const auto isWaiting = [](const ThreadState& state) { return state.isWaiting(); };
  return std::all_of(states_.begin(), states_.end(), isWaiting) && waits() == before;
}

std::uint64_t Consumers::takenByAll() const {
  std::uint64_t sum = 0;
  for (const Consumer& consumer : consumers_) sum += consumer.taken;
  return sum;
}

// All threads of the process but the producer's are consumers.
std::int64_t Consumers::waits() {
  rusage process{};
  rusage producer{};
  getrusage(RUSAGE_SELF, &process);
  getrusage(RUSAGE_THREAD, &producer);
  return process.ru_nvcsw - producer.ru_nvcsw;
}

void Consumers::consume(std::size_t index) {
  Consumer& self = consumers_[index];
  self.thread = gettid();
  while (true) {
    try {
      queue_.take(index);
    } catch (const std::runtime_error&) {  // terminated
      return;
    }
    self.taken.fetch_add(1, std::memory_order_relaxed);
    sem_post(&handedOver_);
  }
}

}  // namespace pieces
