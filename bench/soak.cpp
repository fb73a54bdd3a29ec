// Drives the built plugin for a time, and tells whether its process grows: the slopes of resident
// memory, threads and descriptors; with --cycle also what destroyed transports leave behind. Exit
// code: 0 if nothing grows and every request was answered once, rightly; 1 if not; 2 for wrong
// usage.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <thread>

#include "bench/sampler.h"
#include "bench/slope.h"
#include "bench/test_bed.h"
#include "runtime/platform.h"

namespace {

using bench::Course;
using bench::Extreme;
using bench::Options;
using bench::Point;
using bench::ProcessFigures;
using bench::TestBed;
using com::orvex::Platform;

constexpr std::size_t kSpans = 30;
constexpr int kLargeBytes = 128 * 1024;
constexpr double kWarmUpShare = 0.1;
// Before that, what the process keeps for later still grows towards its bound.
constexpr double kJudgedMinutesMin = 5;

void pause(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

// What the process holds while it has no transport, compared from cycle to cycle.
class Rest {
 public:
  // The heap may grow by what a thread keeps of freed blocks.
  static constexpr std::int64_t kHeapBytesMax = 1024 * 1024;

  // Called after the transports are gone. A thread that has been joined stands in the system's
  // list for a moment more.
  void note() {
    const double guard = Platform::relativeHighResTimeFloat() + 10;
    do {
      last_ = ProcessFigures::now();
    } while (first_ && last_.threads > first_->threads &&
             Platform::relativeHighResTimeFloat() < guard);
    if (!first_) first_ = last_;
    ++cycles_;
  }

  int cycles() const { return cycles_; }

  // Prints first and last. True: the last cycle has left no more than the first one.
  bool judge() const {
    const auto grown = [this](std::uint64_t ProcessFigures::*figure) {
      return static_cast<std::int64_t>(last_.*figure - (*first_).*figure);
    };
    const bool isSame = grown(&ProcessFigures::threads) <= 0 &&
                        grown(&ProcessFigures::descriptors) <= 0 &&
                        grown(&ProcessFigures::heapBytes) <= kHeapBytesMax;
    std::printf("%d times created and destroyed; since the first time: threads %" PRIu64
                " %+" PRId64 ", descriptors %" PRIu64 " %+" PRId64 ", heap in use %" PRIu64
                " %+" PRId64 " bytes (at most %" PRId64 "): %s\n",
                cycles_, first_->threads, grown(&ProcessFigures::threads), first_->descriptors,
                grown(&ProcessFigures::descriptors), first_->heapBytes,
                grown(&ProcessFigures::heapBytes), kHeapBytesMax, isSame ? "the same" : "GROWS");
    return isSame;
  }

 private:
  std::optional<ProcessFigures> first_;
  ProcessFigures last_;
  int cycles_ = 0;
};

void drive(TestBed& bed, const Options& options, bench::Sampler& sampler, Rest& rest) {
  const double end = Platform::relativeHighResTimeFloat() + options.minutes * 60;
  const bool hasCycles = options.cycleSeconds > 0;
  for (double left = options.minutes * 60; left > 0 || (hasCycles && rest.cycles() < 2);
       left = end - Platform::relativeHighResTimeFloat()) {
    {
      const auto transports =
          bed.createTransports(options.clients.front(), options.plain, options.tls);
      bed.ids().setEnd(~std::uint64_t{0});
      const bench::Delivery delivery(transports, bed.ids(), bed.traffic(), bed.judge());
      pause(hasCycles ? options.cycleSeconds : left);
      if (!hasCycles) sampler.stop();  // the queue's end is no part of the course
      bed.ids().setEnd(0);
    }
    rest.note();
  }
}

// Prints a figure's course behind the warm-up. Result: its slope, an hour.
double printCourse(const char* name, const Course& all, Extreme extreme) {
  const double warm = all.back().x * kWarmUpShare;
  Course course;
  std::copy_if(all.begin(), all.end(), std::back_inserter(course),
               [warm](const Point& point) { return point.x >= warm; });
  const Course spans = bench::extremes(course, kSpans, extreme);
  const double slope = bench::theilSenSlope(spans) * 3600;
  const auto [least, most] = std::minmax_element(
      course.begin(), course.end(), [](const Point& a, const Point& b) { return a.y < b.y; });
  std::printf(
      "%-14s start %8.2f, spans' %s from %8.2f to %8.2f, all from %8.2f to %8.2f, "
      "slope %+.3f an hour\n",
      name, all.front().y, extreme == Extreme::Floor ? "floors" : "ceilings", spans.front().y,
      spans.back().y, least->y, most->y, slope);
  return slope;
}

bool judgeSlope(const char* name, double slope, double most) {
  const bool isFlat = slope <= most;
  std::printf("%s: %+.3f an hour, at most %g: %s\n", name, slope, most, isFlat ? "flat" : "GROWS");
  return isFlat;
}

bool judgeCourses(const bench::Sampler::Courses& courses, const Options& options) {
  const double memory = printCourse("resident, MiB", courses.residentMiB, Extreme::Floor);
  printCourse("heap, MiB", courses.heapMiB, Extreme::Floor);
  const double threads = printCourse("threads", courses.threads, Extreme::Ceiling);
  const double descriptors = printCourse("descriptors", courses.descriptors, Extreme::Ceiling);
  if (options.minutes < kJudgedMinutesMin) {
    std::printf("Too short for slopes to be judged.\n");
    return true;
  }
  bool isFlat = judgeSlope("resident memory, MiB", memory, options.memorySlopeMax);
  isFlat &= judgeSlope("threads", threads, 0);
  isFlat &= judgeSlope("descriptors", descriptors, 0);
  return isFlat;
}

bool soak(const Options& options) {
  // Large blocks go back to the system when they are freed, always. By default the allocator keeps
  // more and more of them, in pieces that it may use again or not: that would be measured.
  ::mallopt(M_MMAP_THRESHOLD, kLargeBytes);
  TestBed bed(options);
  bench::Sampler sampler(options.minutes * 60);
  Rest rest;
  drive(bed, options, sampler, rest);
  sampler.stop();
  bool isGood = bed.finish();
  const bench::Tally tally = bed.tally();
  std::printf("%" PRIu64 " requests, %.0f a second: %" PRIu64 " answered 200, %" PRIu64
              " 413 or 503, %" PRIu64 " failed, %" PRIu64 " sent again\n",
              tally.answered, static_cast<double>(tally.answered) / (options.minutes * 60),
              tally.delivered, tally.refused, tally.failed, tally.seenAgain);
  isGood &= judgeCourses(sampler.courses(), options);
  isGood &= rest.judge();
  std::printf(isGood ? "Nothing grows.\n" : "Not as it should be.\n");
  return isGood;
}

}  // namespace

int main(int count, char** words) {
  try {
    return soak(bench::parseOptions({words + 1, words + count},
                                    {.clients = {8}, .underWayMax = 512}))
               ? 0
               : 1;
  } catch (const std::invalid_argument& refusal) {
    std::fprintf(stderr, "soak: %s\n", refusal.what());
    return 2;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "soak: %s\n", failure.what());
    return 1;
  }
}
