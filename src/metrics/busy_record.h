// metrics/busy_record.h : how long each worker has been processing requests.
//
// Threads: any; each worker adds to its own slot.
#pragma once

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace com::corvane::connectivity::plugins {

class BusyRecord {
 public:
  explicit BusyRecord(std::size_t clients) : slots_(clients) {}

  /// Adds the duration of one request in whole milliseconds, rounded up: 0.2 ms count as 1.
  void add(std::size_t client, double seconds) {
    slots_[client].millis.fetch_add(static_cast<std::uint64_t>(std::ceil(seconds * 1000)),
                                    std::memory_order_relaxed);
  }

  /// The milliseconds of one worker since the start.
  std::uint64_t millis(std::size_t client) const {
    return slots_[client].millis.load(std::memory_order_relaxed);
  }

 private:
  static constexpr std::size_t kCacheLineBytes = 64;

  struct alignas(kCacheLineBytes) Slot {  // workers must not slow each other down here
    std::atomic<std::uint64_t> millis = 0;
  };

  std::vector<Slot> slots_;
};

}  // namespace com::corvane::connectivity::plugins
