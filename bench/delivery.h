// bench/delivery.h : threads that deliver requests to transports.
//
// Role:      two threads a transport take ids from one source in batches of 1 to 32. A concurrency
//            key belongs to one thread, so that the order of its requests is that of their ids.
// Threads:   one thread only; IdSource: any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "bench/judge.h"
#include "bench/traffic.h"
#include "bench/transport.h"

namespace bench {

/// Hands out ids from 1 on, once each.
class IdSource {
 public:
  struct Range {
    std::uint64_t first = 0;
    std::uint64_t end = 0;
  };

  /// No ids from `end` on are given out; at first none at all are.
  void setEnd(std::uint64_t end) { end_ = end; }

  /// Up to `count` ids; none: that was all.
  Range take(std::uint64_t count);

  /// The id that comes next.
  std::uint64_t next() const { return next_; }

 private:
  std::atomic<std::uint64_t> next_{1};
  std::atomic<std::uint64_t> end_{1};
};

class Delivery {
 public:
  static constexpr std::size_t kThreadsEach = 2;

  /// Begins to deliver to the transports whatever ids the source gives.
  Delivery(const std::vector<std::unique_ptr<Transport>>& transports, IdSource& ids,
           const Traffic& traffic, Judge& judge);
  /// Waits until the source gives no more.
  ~Delivery();
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

 private:
  std::vector<std::thread> threads_;
};

}  // namespace bench
