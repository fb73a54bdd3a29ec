// Drives the built plugin for a time, and tells whether its process grows: the slopes of resident
// memory, threads and descriptors. Exit code: 0 if nothing grows and every request was answered
// once, rightly; 1 if not; 2 for wrong usage.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/slope.h"
#include "bench/test_bed.h"
#include "runtime/platform.h"

namespace {

using bench::Extreme;
using bench::Options;
using bench::Point;
using bench::ProcessFigures;
using bench::TestBed;
using com::orvex::Platform;

constexpr std::size_t kSpans = 30;
constexpr double kWarmUpShare = 0.1;
constexpr double kMiB = 1024.0 * 1024.0;

// What the process holds, each second (in short runs more often), by a thread of its own.
class Sampler {
 public:
  explicit Sampler(double seconds)
      : period_(std::min(1.0, seconds / 300)), thread_([this] { run(); }) {}
  ~Sampler() { stop(); }
  Sampler(const Sampler&) = delete;
  Sampler& operator=(const Sampler&) = delete;

  void stop() {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
  }

  // In MiB, over seconds. Once stopped.
  std::vector<Point> memory, threads, descriptors;

 private:
  void run() {
    const double start = Platform::relativeHighResTimeFloat();
    std::unique_lock lock(mutex_);
    while (!changed_.wait_for(lock, std::chrono::duration<double>(period_),
                              [this] { return stopped_; })) {
      const ProcessFigures figures = ProcessFigures::now();
      const double time = Platform::relativeHighResTimeFloat() - start;
      memory.push_back({time, static_cast<double>(figures.residentBytes) / kMiB});
      threads.push_back({time, static_cast<double>(figures.threads)});
      descriptors.push_back({time, static_cast<double>(figures.descriptors)});
    }
  }

  const double period_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  std::thread thread_;
};

// Blocks for a time, which is what the program is for.
void pass(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

void drive(TestBed& bed, const Options& options) {
  const double end = Platform::relativeHighResTimeFloat() + options.minutes * 60;
  for (double left = options.minutes * 60; left > 0;
       left = end - Platform::relativeHighResTimeFloat()) {
    const auto transports =
        bed.createTransports(options.clients.front(), options.plain, options.tls);
    bed.ids().setEnd(~std::uint64_t{0});
    const bench::Delivery delivery(transports, bed.ids(), bed.traffic(), bed.judge());
    pass(options.cycleSeconds > 0 ? std::min(left, options.cycleSeconds) : left);
    bed.ids().setEnd(0);
  }
}

// Prints one figure's course and slope. True: it grows by no more than `most` an hour.
bool judgeCourse(const char* name, const std::vector<Point>& all, Extreme extreme, double most) {
  const double warm = all.back().x * kWarmUpShare;
  std::vector<Point> points;
  std::copy_if(all.begin(), all.end(), std::back_inserter(points),
               [warm](const Point& point) { return point.x >= warm; });
  const std::vector<Point> spans = extremes(points, kSpans, extreme);
  const double slope = bench::theilSenSlope(spans) * 3600;
  const auto [least, largest] = std::minmax_element(
      points.begin(), points.end(), [](const Point& a, const Point& b) { return a.y < b.y; });
  const bool isFlat = slope <= most;
  std::printf(
      "%-18s first %8.2f  last %8.2f  least %8.2f  most %8.2f  slope %+8.3f an hour"
      " (at most %g): %s\n",
      name, spans.front().y, spans.back().y, least->y, largest->y, slope, most,
      isFlat ? "flat" : "GROWS");
  return isFlat;
}

}  // namespace

int main(int count, char** words) {
  try {
    const Options options = bench::parseOptions({words + 1, words + count}, {8});
    TestBed bed(options);
    const double start = Platform::relativeHighResTimeFloat();
    Sampler sampler(options.minutes * 60);
    drive(bed, options);
    sampler.stop();
    const double seconds = Platform::relativeHighResTimeFloat() - start;
    const bool isClean = bed.finish();
    const bench::Tally tally = bed.tally();
    std::printf("%" PRIu64 " requests in %.0f s, %.0f a second: %" PRIu64 " answered 200, %" PRIu64
                " 413 or 503, %" PRIu64 " failed, %" PRIu64 " sent again\n",
                bed.ids().next() - 1, seconds, static_cast<double>(tally.answered) / seconds,
                tally.delivered, tally.refused, tally.failed, tally.seenAgain);
    if (sampler.memory.empty()) throw std::runtime_error("too short to measure anything");
    bool isFlat =
        judgeCourse("memory, MiB", sampler.memory, Extreme::Floor, options.memorySlopeMax);
    isFlat &= judgeCourse("threads", sampler.threads, Extreme::Ceiling, 0);
    isFlat &= judgeCourse("descriptors", sampler.descriptors, Extreme::Ceiling, 0);
    return isClean && isFlat ? 0 : 1;
  } catch (const std::invalid_argument& refusal) {
    std::fprintf(stderr, "soak: %s\n", refusal.what());
    return 2;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "soak: %s\n", failure.what());
    return 1;
  }
}
