#include "metrics/transport_metrics.h"

#include <algorithm>
#include <limits>

#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::StatusReporter;
using orvex::AutoMutex;

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr double kMillisPerSecond = 1000;

// Cuts off the fraction; what is out of range cannot be converted at all.
std::int64_t truncated(double value) {
  return value >= static_cast<double>(kLargest) ? kLargest : static_cast<std::int64_t>(value);
}

}  // namespace

// The items appear on the host's display in the order of these lines.
TransportMetrics::TransportMetrics(StatusReporter& reporter, const std::string& chainId,
                                   const std::string& pluginName, std::size_t clients)
    : busyRecord_(clients) {
  const std::string prefix = chainId + "." + pluginName;
  std::string kpis;
  const auto kpi = [&](const char* suffix) {
    const std::string name = prefix + suffix;
    kpis += (kpis.empty() ? "" : ", ") + name;
    return reporter.createIntegerItem(name);
  };
  status_ = reporter.createItem(prefix + ".status", "STARTING");
  errors_ = kpi(".errorsTowardsHost");
  responses_ = kpi(".responsesTowardsHost");
  latency_.shortTermItem = kpi(".requestLatencyEWMAShortMillis");
  latency_.longTermItem = kpi(".requestLatencyEWMALongMillis");
  requestSize_.averages.shortTermItem = kpi(".requestSizeEWMAShortBytes");
  requestSize_.averages.longTermItem = kpi(".requestSizeEWMALongBytes");
  responseSize_.averages.shortTermItem = kpi(".responseSizeEWMAShortBytes");
  responseSize_.averages.longTermItem = kpi(".responseSizeEWMALongBytes");
  requestSize_.maximumItem = kpi(".requestSizeMaxInLastHourBytes");
  responseSize_.maximumItem = kpi(".responseSizeMaxInLastHourBytes");
  clients_ = kpi(".numClients");
  serializedRequests_ = kpi(".serializedRequests");
  utilizationItem_ = kpi(".concurrencyUtilizationPercent");
  queueSize_ = kpi(".queueSize");
  kpis_ = reporter.createItem(prefix + ".KPIs", kpis);
}

// The texts are short: an item takes them without an allocation. That it is online already, as with
// nearly every response, costs no lock.
void TransportMetrics::setOnline() noexcept {
  if (isOnline_.load(std::memory_order_relaxed)) return;
  AutoMutex lock(statusMutex_);
  isOnline_.store(true, std::memory_order_relaxed);
  status_->set("ONLINE");
}

void TransportMetrics::setFailed() noexcept {
  AutoMutex lock(statusMutex_);
  isOnline_.store(false, std::memory_order_relaxed);
  status_->set("FAILED");
}

void TransportMetrics::Averages::add(double sample, double unitsPerSample) noexcept {
  longTerm.add(sample);
  longTermItem->set(truncated(longTerm.value() * unitsPerSample));
  shortTerm.add(sample);
  shortTermItem->set(truncated(shortTerm.value() * unitsPerSample));
}

void TransportMetrics::SizeFigures::add(std::uint64_t bytes) noexcept {
  averages.add(static_cast<double>(bytes), 1);
  if (!maximum.add(bytes)) return;
  maximumItem->set(static_cast<std::int64_t>(std::min<std::uint64_t>(bytes, kLargest)));
}

void TransportMetrics::recordRequestSize(std::uint64_t bytes) noexcept {
  AutoMutex lock(requestMutex_);
  requestSize_.add(bytes);
}

void TransportMetrics::recordLatency(double seconds) noexcept {
  latency_.add(seconds, kMillisPerSecond);
}

void TransportMetrics::recordResponseSize(std::uint64_t bytes) noexcept {
  responseSize_.add(bytes);
}

void TransportMetrics::countResponse(std::int64_t status) noexcept {
  (status < 200 || status > 399 ? errors_ : responses_)->add(1);
}

void TransportMetrics::publishUtilization() noexcept {
  const auto percent = utilization_.nextPercent(orvex::Platform::monotonicNanos());
  if (percent) utilizationItem_->set(*percent);
}

void TransportMetrics::addClients(std::size_t count) noexcept {
  clients_->add(static_cast<std::int64_t>(count));
}

void TransportMetrics::countSerializedRequest() noexcept { serializedRequests_->add(1); }

}  // namespace com::corvane::connectivity::plugins
