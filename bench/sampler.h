// bench/sampler.h : a thread that writes down, again and again, what this process holds.
//
// Threads:   one thread only.
// Errors:    what ProcessFigures::now throws ends the process.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/process_figures.h"
#include "bench/slope.h"

namespace bench {

/// One figure over the time, in seconds from the first sample on.
using Course = std::vector<Point>;

class Sampler {
 public:
  /// Begins to sample, each second; in a run that is expected to be short 300 times in all.
  explicit Sampler(double expectedSeconds);
  ~Sampler() { stop(); }
  Sampler(const Sampler&) = delete;
  Sampler& operator=(const Sampler&) = delete;

  void stop();

  /// What was sampled. REQUIRES: stopped.
  struct Courses {
    Course residentMiB;
    Course heapMiB;
    Course threads;
    Course descriptors;
  };
  const Courses& courses() const { return courses_; }

 private:
  void run();
  void add(double seconds, const ProcessFigures& figures);

  const double periodSeconds_;
  Courses courses_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;  // guarded by mutex_
  std::thread thread_;
};

}  // namespace bench
