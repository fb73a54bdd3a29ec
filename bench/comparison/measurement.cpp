#include "bench/comparison/measurement.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <system_error>

#include "runtime/platform.h"

namespace bench {
namespace {

double micros(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

// REQUIRES: sorted.
double percentileMicros(const std::vector<std::int64_t>& latencies, double share) {
  if (latencies.empty()) return 0;
  const auto index = static_cast<std::size_t>(share * static_cast<double>(latencies.size() - 1));
  return static_cast<double>(latencies[index]) / 1e3;
}

}  // namespace

Measurement::Cost Measurement::soFar() {
  rusage usage{};
  if (::getrusage(RUSAGE_SELF, &usage) != 0) {
    throw std::system_error(errno, std::generic_category(), "getrusage");
  }
  return {.nanos = com::orvex::Platform::monotonicNanos(),
          .userMicros = micros(usage.ru_utime),
          .systemMicros = micros(usage.ru_stime),
          .voluntarySwitches = usage.ru_nvcsw,
          .involuntarySwitches = usage.ru_nivcsw};
}

void Measurement::begin() { begin_ = soFar(); }

void Measurement::end() {
  const Cost end = soFar();
  cost_.nanos += end.nanos - begin_.nanos;
  cost_.userMicros += end.userMicros - begin_.userMicros;
  cost_.systemMicros += end.systemMicros - begin_.systemMicros;
  cost_.voluntarySwitches += end.voluntarySwitches - begin_.voluntarySwitches;
  cost_.involuntarySwitches += end.involuntarySwitches - begin_.involuntarySwitches;
}

std::string Measurement::json() {
  const auto failures = std::erase(latencies_, kNone);
  std::sort(latencies_.begin(), latencies_.end());
  const auto requests = static_cast<double>(work_.requests);
  const double seconds = static_cast<double>(cost_.nanos) / 1e9;
  char text[1024];
  std::snprintf(text, sizeof text,
                "{\"client\": \"%s\", \"requests\": %llu, \"failures\": %llu, \"seconds\": %.6f, "
                "\"rate\": %.1f, \"userMicros\": %.3f, \"systemMicros\": %.3f, "
                "\"voluntarySwitches\": %.4f, \"involuntarySwitches\": %.4f, "
                "\"p50Micros\": %.1f, \"p90Micros\": %.1f, \"p99Micros\": %.1f, "
                "\"p999Micros\": %.1f}",
                work_.client.c_str(), static_cast<unsigned long long>(work_.requests),
                static_cast<unsigned long long>(failures), seconds, requests / seconds,
                cost_.userMicros / requests, cost_.systemMicros / requests,
                static_cast<double>(cost_.voluntarySwitches) / requests,
                static_cast<double>(cost_.involuntarySwitches) / requests,
                percentileMicros(latencies_, 0.5), percentileMicros(latencies_, 0.9),
                percentileMicros(latencies_, 0.99), percentileMicros(latencies_, 0.999));
  return text;
}

}  // namespace bench
