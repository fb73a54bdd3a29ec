// metrics/transport_metrics.h : the transport's status items and what feeds them.
//
// Role:      the transport makes one; workers and delivering threads report to it.
// Threads:   any thread. setOnline and setFailed are serialised by "TransportStatusMutex"; every
//            item guards its own value.
// Ownership: owns the items; they leave the host when this is destroyed.
// Errors:    the constructor throws what creating a status item throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "metrics/busy_record.h"
#include "plugin/status_item.h"
#include "plugin/status_reporter.h"
#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class TransportMetrics {
 public:
  /// Creates every item under the name chainId + "." + pluginName + its suffix.
  TransportMetrics(connectivity10_15_0::StatusReporter& reporter, const std::string& chainId,
                   const std::string& pluginName, std::size_t clients);

  /// How long each worker has been busy.
  BusyRecord& busyRecord() { return busyRecord_; }

  /// ".status": "STARTING" at first, then by the outcome of the latest request on any worker.
  void setOnline();
  void setFailed();

  /// ".responsesTowardsHost" for a status from 200 to 399, else ".errorsTowardsHost". Called once
  /// for each response message sent towards the host.
  void countResponse(std::int64_t status);

  /// ".numClients"
  void addClients(std::size_t count);

  /// ".serializedRequests": one more request before which all others had to finish.
  void countSerializedRequest();

  /// ".queueSize"
  void setQueueSize(std::uint64_t items);

 private:
  using Item = std::unique_ptr<connectivity10_15_0::StatusItem>;

  void setStatus(const char* text);

  BusyRecord busyRecord_;
  orvex::Mutex statusMutex_{"TransportStatusMutex"};
  Item status_;
  Item errors_;
  Item responses_;
  Item clients_;
  Item serializedRequests_;
  Item queueSize_;
};

}  // namespace com::corvane::connectivity::plugins
