#include "bench/comparison/measurement.h"

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

// REQUIRES: sorted, not empty.
double percentileMicros(const std::vector<std::int64_t>& latencies, double share) {
  const auto index = static_cast<std::size_t>(share * static_cast<double>(latencies.size() - 1));
  return static_cast<double>(latencies[index]) / 1e3;
}

}  // namespace

Measurement::Snapshot Measurement::now() {
  Snapshot snapshot;
  if (::getrusage(RUSAGE_SELF, &snapshot.usage) != 0) {
    throw std::system_error(errno, std::generic_category(), "getrusage");
  }
  snapshot.nanos = com::orvex::Platform::monotonicNanos();
  return snapshot;
}

void Measurement::begin() { begin_ = now(); }

void Measurement::end() { end_ = now(); }

std::string Measurement::json() {
  std::sort(latencies_.begin(), latencies_.end());
  const auto requests = static_cast<double>(work_.requests);
  const double seconds = static_cast<double>(end_.nanos - begin_.nanos) / 1e9;
  const rusage& first = begin_.usage;
  const rusage& last = end_.usage;
  char text[1024];
  std::snprintf(text, sizeof text,
                "{\"client\": \"%s\", \"requests\": %llu, \"failures\": %llu, \"seconds\": %.6f, "
                "\"rate\": %.1f, \"userMicros\": %.3f, \"systemMicros\": %.3f, "
                "\"voluntarySwitches\": %.4f, \"involuntarySwitches\": %.4f, "
                "\"p50Micros\": %.1f, \"p90Micros\": %.1f, \"p99Micros\": %.1f, "
                "\"p999Micros\": %.1f, \"residentMaxKib\": %ld}",
                work_.client.c_str(), static_cast<unsigned long long>(work_.requests),
                static_cast<unsigned long long>(failures_), seconds, requests / seconds,
                (micros(last.ru_utime) - micros(first.ru_utime)) / requests,
                (micros(last.ru_stime) - micros(first.ru_stime)) / requests,
                static_cast<double>(last.ru_nvcsw - first.ru_nvcsw) / requests,
                static_cast<double>(last.ru_nivcsw - first.ru_nivcsw) / requests,
                percentileMicros(latencies_, 0.5), percentileMicros(latencies_, 0.9),
                percentileMicros(latencies_, 0.99), percentileMicros(latencies_, 0.999),
                last.ru_maxrss);
  return text;
}

}  // namespace bench
