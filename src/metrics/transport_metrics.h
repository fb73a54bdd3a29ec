// metrics/transport_metrics.h : the transport's status items and what feeds them.
//
// Role:      the transport makes one; workers and delivering threads report to it. Figures change
//            as requests and responses pass, never by a timer. docs/status-items.md tells
//            operators what they mean.
// Threads:   any thread. setOnline and setFailed are serialised by "TransportStatusMutex",
//            recordRequestSize by "RequestMetricsMutex"; what needs the caller's
//            "TransportResponseMutex" says so. Every item guards its own value.
// Ownership: owns the items; they leave the host when this is destroyed.
// Errors:    the constructor throws what creating a status item throws. Nothing else fails: no
//            response must be lost for a figure.
// Limits:    figures stop at the largest signed 64-bit number.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "metrics/busy_record.h"
#include "metrics/ewma.h"
#include "metrics/hourly_maximum.h"
#include "metrics/utilization.h"
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
  void setOnline() noexcept;
  void setFailed() noexcept;

  /// ".requestSize...": the body of a request that has got the head of its response.
  void recordRequestSize(std::uint64_t bytes) noexcept;

  /// ".requestLatency...": the time from a request's start to its response's leaving for the host.
  /// REQUIRES: "TransportResponseMutex" held.
  void recordLatency(double seconds) noexcept;

  /// ".responseSize...": the decoded body of a response with a status from 200 to 299. REQUIRES:
  /// "TransportResponseMutex" held.
  void recordResponseSize(std::uint64_t bytes) noexcept;

  /// ".responsesTowardsHost" for a status from 200 to 399, else ".errorsTowardsHost". Called once
  /// for each response message sent towards the host.
  void countResponse(std::int64_t status) noexcept;

  /// ".concurrencyUtilizationPercent", when Utilization has a new figure. REQUIRES:
  /// "TransportResponseMutex" held.
  void publishUtilization() noexcept;

  /// ".numClients"
  void addClients(std::size_t count) noexcept;

  /// ".serializedRequests": one more request before which all others had to finish.
  void countSerializedRequest() noexcept;

  /// ".queueSize": the number that `count` returns. Several threads at once leave the latest.
  template <typename Count>
  void publishQueueSize(const Count& count) noexcept {
    queueSize_->setTo([&] { return static_cast<std::int64_t>(count()); });
  }

 private:
  using Item = std::unique_ptr<connectivity10_15_0::StatusItem>;

  // Two averages of one quantity: a short memory and a long one.
  struct Averages {
    void add(double sample, double unitsPerSample) noexcept;

    Ewma shortTerm{0.5};
    Ewma longTerm{0.1};
    Item shortTermItem;
    Item longTermItem;
  };

  struct SizeFigures {
    void add(std::uint64_t bytes) noexcept;

    Averages averages;
    HourlyMaximum maximum;
    Item maximumItem;
  };

  BusyRecord busyRecord_;
  Utilization utilization_{busyRecord_};
  orvex::Mutex statusMutex_{"TransportStatusMutex"};
  std::atomic<bool> isOnline_ = false;  // as the item says; changed under statusMutex_
  orvex::Mutex requestMutex_{"RequestMetricsMutex"};  // guards requestSize_
  Averages latency_;
  SizeFigures requestSize_;
  SizeFigures responseSize_;
  Item status_;
  Item errors_;
  Item responses_;
  Item clients_;
  Item serializedRequests_;
  Item utilizationItem_;
  Item queueSize_;
  Item kpis_;
};

}  // namespace com::corvane::connectivity::plugins
