// comparison/measurement.h : what a client's requests cost, between a beginning and an end.
//
// Role:      processor time and context switches of the whole process, the time by the clock, and
//            the latency of each request.
// Threads:   begin, end and print one thread only; record any thread, each request once.
// Errors:    std::system_error when the system refuses.
#pragma once

#include <sys/resource.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/comparison/work.h"

namespace bench {

class Measurement {
 public:
  explicit Measurement(const Work& work) : work_(work), latencies_(work.requests) {}

  void begin();
  void end();

  /// Of the request with a number below Work::requests.
  void record(std::uint64_t request, std::int64_t nanos) { latencies_[request] = nanos; }

  /// A request that was not answered with status 200 and a body of the right length.
  void countFailure() { failures_.fetch_add(1, std::memory_order_relaxed); }
  std::uint64_t failures() const { return failures_; }

  /// One line of JSON: names and units stand in it.
  std::string json();

 private:
  struct Snapshot {
    std::int64_t nanos = 0;
    rusage usage{};
  };

  static Snapshot now();

  const Work& work_;
  std::vector<std::int64_t> latencies_;  // nanoseconds by request
  std::atomic<std::uint64_t> failures_ = 0;
  Snapshot begin_;
  Snapshot end_;
};

}  // namespace bench
