#include "bench/sampler.h"

#include <algorithm>
#include <chrono>

#include "runtime/platform.h"

namespace bench {
namespace {

double mebibytes(std::uint64_t bytes) { return static_cast<double>(bytes) / (1024.0 * 1024.0); }

}  // namespace

Sampler::Sampler(double expectedSeconds)
    : periodSeconds_(std::min(1.0, expectedSeconds / 300)), thread_([this] { run(); }) {}

void Sampler::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void Sampler::run() {
  const double start = com::orvex::Platform::relativeHighResTimeFloat();
  const std::chrono::duration<double> period(periodSeconds_);
  std::unique_lock lock(mutex_);
  do {
    add(com::orvex::Platform::relativeHighResTimeFloat() - start, ProcessFigures::now());
  } while (!changed_.wait_for(lock, period, [this] { return stopped_; }));
}

void Sampler::add(double seconds, const ProcessFigures& figures) {
  courses_.residentMiB.push_back({seconds, mebibytes(figures.residentBytes)});
  courses_.heapMiB.push_back({seconds, mebibytes(figures.heapBytes)});
  courses_.threads.push_back({seconds, static_cast<double>(figures.threads)});
  courses_.descriptors.push_back({seconds, static_cast<double>(figures.descriptors)});
}

}  // namespace bench
