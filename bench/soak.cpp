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
#include <vector>

#include "bench/process_figures.h"
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
constexpr int kLargeBytes = 128 * 1024;
// A worker keeps the memory of the largest answer that it has had, up to a bound: until each has
// had a few of the rare large ones, the process grows.
constexpr double kWarmUpShare = 1.0 / 3;
constexpr double kJudgedMinutesMin = 5;
constexpr double kBurstSecondsMax = 10;
constexpr double kRestsMin = 200;  // in a run that is too short for the longest bursts
constexpr double kAnswerSecondsMax = 120;
// For the worker that has given the last answer, and then frees what it was made of.
constexpr double kSettlingSeconds = 0.05;

double now() { return Platform::relativeHighResTimeFloat(); }

void pause(double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); }

double mebibytes(std::uint64_t bytes) { return static_cast<double>(bytes) / (1024.0 * 1024.0); }

// What the process holds over the time, measured whenever no request is under way, without what
// the allocator keeps of freed memory: what large bodies happen to be under way, and in which
// pieces the allocator has them, varies more than what would be a leak.
class Courses {
 public:
  // `seconds` since the run's begin.
  void note(double seconds) {
    ::malloc_trim(0);
    const ProcessFigures figures = ProcessFigures::now();
    residentMiB_.push_back({seconds, mebibytes(figures.residentBytes)});
    heapMiB_.push_back({seconds, mebibytes(figures.heapBytes)});
    threads_.push_back({seconds, static_cast<double>(figures.threads)});
    descriptors_.push_back({seconds, static_cast<double>(figures.descriptors)});
  }

  // Prints all, and judges what may not grow. True: it does not, or the run was too short to tell.
  bool judge(const Options& options) const {
    printFloors();
    const double memory = slopeOf("resident, MiB", residentMiB_, Extreme::Floor);
    slopeOf("heap, MiB", heapMiB_, Extreme::Floor);
    const double threads = slopeOf("threads", threads_, Extreme::Ceiling);
    const double descriptors = slopeOf("descriptors", descriptors_, Extreme::Ceiling);
    if (options.minutes < kJudgedMinutesMin) {
      std::printf("Too short for slopes to be judged.\n");
      return true;
    }
    bool isFlat = judgeSlope("resident memory, MiB", memory, options.memorySlopeMax);
    isFlat &= judgeSlope("threads", threads, 0);
    isFlat &= judgeSlope("descriptors", descriptors, 0);
    return isFlat;
  }

 private:
  using Course = std::vector<Point>;

  // The course of the memory, the warm-up included.
  void printFloors() const {
    const Course resident = bench::extremes(residentMiB_, kSpans, Extreme::Floor);
    const Course heap = bench::extremes(heapMiB_, kSpans, Extreme::Floor);
    std::printf("%8s %14s %10s\n", "minute", "resident, MiB", "heap, MiB");
    for (std::size_t i = 0; i < resident.size(); ++i) {
      std::printf("%8.1f %14.2f %10.2f\n", resident[i].x / 60, resident[i].y, heap[i].y);
    }
  }

  // Prints a figure's course behind the warm-up. Result: its slope, an hour.
  static double slopeOf(const char* name, const Course& all, Extreme extreme) {
    const double warm = all.back().x * kWarmUpShare;
    Course course;
    std::copy_if(all.begin(), all.end(), std::back_inserter(course),
                 [warm](const Point& point) { return point.x >= warm; });
    const Course spans = bench::extremes(course, kSpans, extreme);
    const double slope = bench::theilSenSlope(spans) * 3600;
    const auto [least, most] = std::minmax_element(
        course.begin(), course.end(), [](const Point& a, const Point& b) { return a.y < b.y; });
    std::printf(
        "%-14s spans' %s from %8.2f to %8.2f, all from %8.2f to %8.2f, slope %+.3f an hour\n", name,
        extreme == Extreme::Floor ? "floors" : "ceilings", spans.front().y, spans.back().y,
        least->y, most->y, slope);
    return slope;
  }

  static bool judgeSlope(const char* name, double slope, double most) {
    const bool isFlat = slope <= most;
    std::printf("%s: %+.3f an hour, at most %g: %s\n", name, slope, most,
                isFlat ? "flat" : "GROWS");
    return isFlat;
  }

  Course residentMiB_;
  Course heapMiB_;
  Course threads_;
  Course descriptors_;
};

// What the process holds while it has no transport, compared from cycle to cycle.
class Remainder {
 public:
  // The heap may grow by what a thread keeps of freed blocks.
  static constexpr std::int64_t kHeapBytesMax = 1024 * 1024;

  // Called after the transports are gone. A thread that has been joined stands in the system's
  // list for a moment more.
  void note() {
    const double guard = now() + 10;
    do {
      last_ = ProcessFigures::now();
    } while (first_ && last_.threads > first_->threads && now() < guard);
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

// Traffic for a time, to its last answer.
void burst(TestBed& bed, const TestBed::Transports& transports, double seconds) {
  {
    bed.ids().setEnd(~std::uint64_t{0});
    const bench::Delivery delivery(transports, bed.ids(), bed.traffic(), bed.judge());
    pause(seconds);
    bed.ids().setEnd(0);
  }
  if (!bed.judge().awaitAnswers(kAnswerSecondsMax)) {
    throw std::runtime_error("requests without an answer");
  }
  pause(kSettlingSeconds);
}

void drive(TestBed& bed, const Options& options, Courses& courses, Remainder& remainder) {
  const double start = now();
  const double end = start + options.minutes * 60;
  const bool hasCycles = options.cycleSeconds > 0;
  const double burstSeconds = std::min(kBurstSecondsMax, options.minutes * 60 / kRestsMin);
  while (now() < end || (hasCycles && remainder.cycles() < 2)) {
    const double cycleEnd = hasCycles ? now() + options.cycleSeconds : end;
    {
      const auto transports =
          bed.createTransports(options.clients.front(), options.plain, options.tls);
      do {
        burst(bed, transports, burstSeconds);
        courses.note(now() - start);
      } while (now() < std::min(cycleEnd, end));
    }
    remainder.note();
  }
}

bool soak(const Options& options) {
  // Large blocks go back to the system when they are freed, always. By default the allocator keeps
  // more and more of them, in pieces that it may use again or not: that would be measured.
  ::mallopt(M_MMAP_THRESHOLD, kLargeBytes);
  TestBed bed(options);
  Courses courses;
  Remainder remainder;
  drive(bed, options, courses, remainder);
  bool isGood = bed.finish();
  const bench::Tally tally = bed.tally();
  std::printf("%" PRIu64 " requests, %.0f a second: %" PRIu64 " answered 200, %" PRIu64
              " 413 or 503, %" PRIu64 " failed, %" PRIu64 " sent again\n",
              tally.answered, static_cast<double>(tally.answered) / (options.minutes * 60),
              tally.delivered, tally.refused, tally.failed, tally.seenAgain);
  isGood &= courses.judge(options);
  if (remainder.cycles() > 1) isGood &= remainder.judge();
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
