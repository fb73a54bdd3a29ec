// metrics/busy_record.h : how long each worker has been processing requests.
//
// Threads:   each worker writes its own slot, through one BusyScope at a time; any thread reads.
// Limits:    a finished request counts in whole milliseconds, rounded up: 0.2 ms count as 1.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

class BusyRecord {
 public:
  explicit BusyRecord(std::size_t clients) : slots_(clients) {}

  std::size_t clients() const { return slots_.size(); }

  /// The nanoseconds that a worker has been busy, the part of its present request that lies before
  /// `nowNanos` (of Platform::monotonicNanos) included.
  std::int64_t busyNanos(std::size_t client, std::int64_t nowNanos) const {
    const std::int64_t state = slots_[client].state.load(std::memory_order_relaxed);
    return (state >> 1) + ((state & kBusy) != 0 ? nowNanos : 0);
  }

 private:
  friend class BusyScope;

  static constexpr std::size_t kCacheLineBytes = 64;
  static constexpr std::int64_t kBusy = 1;

  // Twice the nanoseconds of all finished requests, while a request runs less its beginning and
  // plus kBusy: in one number, so that a reader never counts a request twice or not at all.
  struct alignas(kCacheLineBytes) Slot {  // workers must not slow each other down here
    std::atomic<std::int64_t> state = 0;
  };

  std::vector<Slot> slots_;
};

/// The processing of one request on one worker.
class BusyScope {
 public:
  BusyScope(BusyRecord& record, std::size_t client)
      : state_(record.slots_[client].state),
        finishedNanos_(state_.load(std::memory_order_relaxed) >> 1),
        beginNanos_(orvex::Platform::monotonicNanos()) {
    state_.store((finishedNanos_ - beginNanos_) * 2 + BusyRecord::kBusy, std::memory_order_relaxed);
  }
  ~BusyScope() {
    const std::int64_t nanos = orvex::Platform::monotonicNanos() - beginNanos_;
    const std::int64_t millis = (nanos + kNanosPerMilli - 1) / kNanosPerMilli;
    state_.store((finishedNanos_ + millis * kNanosPerMilli) * 2, std::memory_order_relaxed);
  }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  static constexpr std::int64_t kNanosPerMilli = 1'000'000;

  std::atomic<std::int64_t>& state_;
  const std::int64_t finishedNanos_;
  const std::int64_t beginNanos_;
};

}  // namespace com::corvane::connectivity::plugins
