// comparison/measurement.h : what a client's requests cost, between beginnings and ends.
//
// Role:      processor time and context switches of the whole process, the time by the clock, and
//            the latency of each request.
// Threads:   begin, end and print one thread only; record any thread, each request once.
// Errors:    std::system_error when the system refuses.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/comparison/work.h"

namespace bench {

class Measurement {
 public:
  explicit Measurement(const Work& work) : work_(work), latencies_(work.requests, kNone) {}

  /// What lies between an end and the next beginning does not count.
  void begin();
  void end();

  /// Of the request with a number below Work::requests, answered with status 200 and a body of the
  /// right length.
  void record(std::uint64_t request, std::int64_t nanos) { latencies_[request] = nanos; }

  /// Any other end of a request, measured or not.
  void countFailure() { failures_.fetch_add(1, std::memory_order_relaxed); }
  std::uint64_t failures() const { return failures_; }

  /// One line of JSON: names and units stand in it. "failures" are the requests of the work that
  /// were not recorded.
  std::string json();

 private:
  // By the clock, and of the process.
  struct Cost {
    std::int64_t nanos = 0;
    double userMicros = 0;
    double systemMicros = 0;
    std::int64_t voluntarySwitches = 0;
    std::int64_t involuntarySwitches = 0;
  };

  static constexpr std::int64_t kNone = -1;

  static Cost soFar();

  const Work& work_;
  std::vector<std::int64_t> latencies_;  // nanoseconds by request
  std::atomic<std::uint64_t> failures_ = 0;
  Cost begin_;
  Cost cost_;
};

}  // namespace bench
