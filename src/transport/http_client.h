// transport/http_client.h : the transport element: queue, workers, and their common state.
//
// Role:      what the entry points create and drive. Delivering threads put requests on the queue;
//            one ClientSessionThread a client takes and performs them.
// Threads:   sendBatchTowardsTransport from any thread, several at once; start, shutdown,
//            setNextTowardsHost and the destructor as the host's calling order says; shutdown also
//            from several threads, workers included. "TransportResponseMutex" serialises
//            responses, "ClientSessionsMutex" guards the array of workers; neither is held while
//            waiting for a worker or for the queue.
// Ownership: owns queue, workers, metrics, cookie jar and settings; the host owns the transport.
// Errors:    the constructor throws configuration texts, "Must have at least one consumer", and the
//            errors of setting up sessions; shutdown throws "An error occurred while checking if
//            host is shutting down".
// States:    constructed, started, shutting down, shut down; the destructor shuts down what is not.
//            What is in flight when the host goes down, or when the destructor runs, is cut off
//            from the server and answered as failed; else shutdown waits until the server has
//            answered.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "config/settings.h"
#include "http/cookie_jar.h"
#include "http/http_exchange.h"
#include "http/message_keys.h"
#include "http/session_factory.h"
#include "http/transport_port.h"
#include "metrics/transport_metrics.h"
#include "plugin/abstract_transport.h"
#include "plugin/plugin_parameters.h"
#include "runtime/condition.h"
#include "runtime/mutex.h"
#include "runtime/ref_counted_object.h"
#include "transport/affinity_queue.h"

namespace com::corvane::connectivity::plugins {

class HTTPClient final : public connectivity10_15_0::AbstractTransport, private TransportPort {
 public:
  class ClientSessionThread;

  /// Sizes that tests make smaller.
  struct Limits {
    AffinityQueue::Limits queue;
    std::int64_t barrierSliceMs = 1000;  // a wait at a barrier asks the host again after this
  };

  explicit HTTPClient(const connectivity10_15_0::PluginParameters& parameters);
  HTTPClient(const connectivity10_15_0::PluginParameters& parameters, const Limits& limits);
  ~HTTPClient() noexcept(false) override;

  void start() override;
  void shutdown() override;
  void setNextTowardsHost(std::unique_ptr<connectivity10_15_0::HostSide>& next) override;
  void sendBatchTowardsTransport(Message* first, Message* end) override;

  /// For a process that ends, or a library that is unloaded, with a transport that nobody has
  /// destroyed: ends the workers, which answer nothing any more.
  void abandon() noexcept;

 private:
  enum class WorkerState { New, Live, Ended };
  using Workers = std::vector<orvex::RefPtr<ClientSessionThread>>;

  void sendTowardsHost(Message& response, double startTime, std::int64_t status,
                       std::optional<std::uint64_t> bodyBytes) noexcept override;
  void publishQueueSize() noexcept override;
  void reportLostResponse(const char* reason) const noexcept;

  // What a worker uses.
  ExchangeContext exchangeContext();
  void enterWorkerThread() const;
  Message nextRequest(std::size_t client, const std::function<void()>& onIdle);

  bool isWorkerThread() const;
  bool isHostShuttingDown() const;
  void captureSchedulableQueue();
  void enqueue(Message& message, bool noWait);
  bool isFlush(Message& message) const;
  void awaitBarrier(Sentinel& sentinel) const;
  bool passWithin(Sentinel& sentinel) const;
  bool drain();
  void endWorkers();
  void awaitDeliveries() const;

  // Constant after construction.
  const TransportSettings config_;
  const std::int64_t barrierSliceMs_;
  const MessageKeys keys_;
  const MapKey concurrencyKey_{"concurrencyControlKey"};
  const MapKey flushKey_{"concurrencyControlFlush"};

  orvex::Mutex responseMutex_{"TransportResponseMutex"};  // hostSide, response figures
  std::atomic<bool> shuttingDown_ = false;
  std::atomic<bool> abandoned_ = false;
  std::atomic<bool> queueCaptureDue_ = true;
  std::atomic<std::uint32_t> deliveries_ = 0;  // batches that are being delivered
  AffinityQueue queue_;
  TransportMetrics metrics_;
  CookieJar jar_;
  SessionFactory sessions_;

  std::vector<std::atomic<WorkerState>> workerStates_;  // by client
  orvex::Mutex workersMutex_{"ClientSessionsMutex"};
  orvex::Condition workersEnded_{workersMutex_};
  Workers workers_;             // guarded by workersMutex_
  bool endingWorkers_ = false;  // guarded by workersMutex_
};

}  // namespace com::corvane::connectivity::plugins
