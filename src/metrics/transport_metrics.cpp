#include "metrics/transport_metrics.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::StatusReporter;

TransportMetrics::TransportMetrics(StatusReporter& reporter, const std::string& chainId,
                                   const std::string& pluginName, std::size_t clients)
    : busyRecord_(clients) {
  const std::string prefix = chainId + "." + pluginName;
  status_ = reporter.createItem(prefix + ".status", "STARTING");
  errors_ = reporter.createIntegerItem(prefix + ".errorsTowardsHost");
  responses_ = reporter.createIntegerItem(prefix + ".responsesTowardsHost");
  clients_ = reporter.createIntegerItem(prefix + ".numClients");
  serializedRequests_ = reporter.createIntegerItem(prefix + ".serializedRequests");
  queueSize_ = reporter.createIntegerItem(prefix + ".queueSize");
}

void TransportMetrics::setStatus(const char* text) {
  orvex::AutoMutex lock(statusMutex_);
  status_->set(text);
}

void TransportMetrics::setOnline() { setStatus("ONLINE"); }

void TransportMetrics::setFailed() { setStatus("FAILED"); }

void TransportMetrics::countResponse(std::int64_t status) {
  (status < 200 || status > 399 ? errors_ : responses_)->add(1);
}

void TransportMetrics::addClients(std::size_t count) {
  clients_->add(static_cast<std::int64_t>(count));
}

void TransportMetrics::countSerializedRequest() { serializedRequests_->add(1); }

void TransportMetrics::setQueueSize(std::uint64_t items) {
  queueSize_->set(static_cast<std::int64_t>(items));
}

}  // namespace com::corvane::connectivity::plugins
