#include "transport/http_client.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "http/ascii.h"
#include "kel/host_services.h"
#include "model/text.h"
#include "runtime/platform.h"
#include "runtime/schedulable_queue.h"
#include "transport/client_session_thread.h"
#include "transport/live_transports.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::HostSide;
using connectivity10_15_0::hostText;
using connectivity10_15_0::PluginParameters;
using orvex::AutoMutex;

namespace {

// The transport whose worker this thread is; null on every other thread.
thread_local const HTTPClient* workerOf = nullptr;

std::size_t consumersFor(std::int64_t clients) {
  return clients < 1 ? 0 : static_cast<std::size_t>(clients);
}

// Counts a delivery for as long as it runs.
class DeliveryScope {
 public:
  explicit DeliveryScope(std::atomic<std::uint32_t>& deliveries) : deliveries_(deliveries) {
    ++deliveries_;
  }
  ~DeliveryScope() {
    if (--deliveries_ == 0) deliveries_.notify_all();
  }
  DeliveryScope(const DeliveryScope&) = delete;
  DeliveryScope& operator=(const DeliveryScope&) = delete;

 private:
  std::atomic<std::uint32_t>& deliveries_;
};

// Holds the queue for a batch, and announces what was queued, also when a message in the middle of
// it is refused.
class BatchScope {
 public:
  explicit BatchScope(AffinityQueue& queue) : queue_(queue), lock_(queue.mutex()) {}
  ~BatchScope() { queue_.broadcastAndUnlock(lock_); }
  BatchScope(const BatchScope&) = delete;
  BatchScope& operator=(const BatchScope&) = delete;

 private:
  AffinityQueue& queue_;
  AutoMutex lock_;
};

}  // namespace

HTTPClient::HTTPClient(const PluginParameters& parameters) : HTTPClient(parameters, Limits()) {}

HTTPClient::HTTPClient(const PluginParameters& parameters, const Limits& limits)
    : AbstractTransport(parameters),
      config_(readSettings(config)),
      barrierSliceMs_(limits.barrierSliceMs),
      queue_(consumersFor(config_.settings.numClients), logger, limits.queue),
      metrics_(getStatusReporter(), chainId, pluginName, queue_.consumers()),
      jar_(config_.settings.cookieJar),
      sessions_(config_.settings),
      workerStates_(queue_.consumers()) {
  workers_.reserve(queue_.consumers());
  for (std::size_t client = 0; client < queue_.consumers(); ++client) {
    workers_.emplace_back(new ClientSessionThread(*this, client));
  }
  logger.info("Created %d Client Session Threads", static_cast<std::int32_t>(workers_.size()));
  metrics_.addClients(workers_.size());
  live_transports::add(*this, config_.settings.tls);
}

HTTPClient::~HTTPClient() noexcept(false) {
  live_transports::remove(*this);
  shuttingDown_ = true;  // first: the workers' end is then the expected one
  queue_.terminate();
  sessions_.cutConnections();
  endWorkers();
  awaitDeliveries();
}

void HTTPClient::abandon() noexcept {
  shuttingDown_ = true;
  abandoned_ = true;  // the host's element may be gone already
  queue_.terminate();
  sessions_.cutConnections();
  endWorkers();
}

void HTTPClient::start() {
  metrics_.setOnline();
  AutoMutex lock(workersMutex_);
  // All count as live before the first runs: a barrier must not take a later one for ended. Those
  // that were started before stay what they are.
  for (std::size_t client = 0; client < workers_.size(); ++client) {
    WorkerState expected = WorkerState::New;
    workerStates_[client].compare_exchange_strong(expected, WorkerState::Live);
  }
  std::size_t started = 0;
  try {
    for (; started < workers_.size(); ++started) workers_[started]->start();
  } catch (...) {
    for (; started < workers_.size(); ++started) workerStates_[started] = WorkerState::New;
    throw;
  }
}

void HTTPClient::shutdown() {
  shuttingDown_ = true;
  bool hostGoesDown = isHostShuttingDown();
  if (!hostGoesDown && !isWorkerThread()) hostGoesDown = !drain();
  queue_.terminate();
  if (hostGoesDown) sessions_.cutConnections();
  endWorkers();
  if (!isWorkerThread()) awaitDeliveries();
}

void HTTPClient::setNextTowardsHost(std::unique_ptr<HostSide>& next) {
  AutoMutex lock(responseMutex_);
  AbstractTransport::setNextTowardsHost(next);
}

// Puts a barrier behind everything that is queued and waits until all workers have reached it.
// Returns false when the host began to go down meanwhile.
bool HTTPClient::drain() {
  const auto sentinel = std::make_shared<Sentinel>(queue_.consumers());
  {
    const BatchScope batch(queue_);
    queue_.addSentinel(sentinel, true);
  }
  while (!isHostShuttingDown()) {
    if (passWithin(*sentinel)) return true;
  }
  return false;
}

void HTTPClient::endWorkers() {
  AutoMutex lock(workersMutex_);
  if (isWorkerThread()) {
    // A worker cannot wait for itself, nor for one that waits to deliver what comes after the
    // response that this one is delivering. The destructor waits.
    for (auto& worker : workers_) worker->signal();
    return;
  }
  while (endingWorkers_) workersEnded_.wait();
  Workers ending;
  ending.swap(workers_);
  endingWorkers_ = true;
  lock.unlock();
  for (auto& worker : ending) worker->stop();
  ending.clear();
  lock.lock();
  endingWorkers_ = false;
  workersEnded_.broadcast();
}

void HTTPClient::awaitDeliveries() const {
  for (auto running = deliveries_.load(); running != 0; running = deliveries_.load()) {
    deliveries_.wait(running);
  }
}

bool HTTPClient::isHostShuttingDown() const {
  bool shuttingDown = false;
  if (kel_is_host_shutting_down(hostHandle(), &shuttingDown) != 0) {
    throw std::runtime_error("An error occurred while checking if host is shutting down");
  }
  return shuttingDown;
}

bool HTTPClient::isWorkerThread() const { return workerOf == this; }

void HTTPClient::enterWorkerThread() const { workerOf = this; }

ExchangeContext HTTPClient::exchangeContext() {
  return {config_.settings, config_.basicAuthentication, keys_, jar_, sessions_, metrics_, *this};
}

void HTTPClient::sendBatchTowardsTransport(Message* first, Message* end) {
  const DeliveryScope delivery(deliveries_);
  // A worker is a consumer itself: it must never wait for space that only it may make.
  const bool noWait = isWorkerThread();
  captureSchedulableQueue();
  const BatchScope batch(queue_);
  for (Message* message = first; message != end; ++message) {
    if (shuttingDown_) return;
    enqueue(*message, noWait);
  }
}

void HTTPClient::captureSchedulableQueue() {
  if (!queueCaptureDue_ || shuttingDown_) return;
  orvex::SchedulableQueue* const current = orvex::getCurrentSchedulableQueue();
  if (current == nullptr || !queueCaptureDue_.exchange(false)) return;
  AutoMutex lock(workersMutex_);
  for (auto& worker : workers_) worker->setSchedulableQueue(current);
}

void HTTPClient::enqueue(Message& message, bool noWait) {
  if (queue_.consumers() != 1 && isFlush(message)) {
    queue_.addSentinel(std::make_shared<Sentinel>(queue_.consumers()), noWait);
    metrics_.countSerializedRequest();
  }
  std::optional<std::uint64_t> hash;
  if (const data_t* const key = message.metadata.valueOf(concurrencyKey_)) {
    if (logger.enabled(LogLevel::Debug)) {
      logger.debug("HTTPClient - concurrencyControlKey set: %s", hostText(*key));
    }
    hash = key->hash();
  } else {
    logger.log(LogLevel::Debug, "HTTPClient - No concurrencyControlKey");
  }
  WorkItem item(std::move(message));
  try {
    queue_.add(std::move(item), hash, noWait);
  } catch (...) {
    message = std::move(std::get<Message>(item));  // the host keeps what was not taken
    throw;
  }
}

bool HTTPClient::isFlush(Message& message) const {
  const data_t* const flush = message.metadata.valueOf(flushKey_);
  if (flush == nullptr) return false;
  const std::string text = hostText(*flush);
  if (ascii::lowered(text) == "false") return false;
  logger.debug("HTTPClient - concurrencyControlFlush set: %s", text);
  return true;
}

Message HTTPClient::nextRequest(std::size_t client, const std::function<void()>& onIdle) {
  while (true) {
    WorkItem item = queue_.take(client, nullptr, onIdle);
    if (auto* const request = std::get_if<Message>(&item)) return std::move(*request);
    Sentinel& sentinel = *std::get<std::shared_ptr<Sentinel>>(item);
    sentinel.reach(client);
    awaitBarrier(sentinel);
  }
}

void HTTPClient::awaitBarrier(Sentinel& sentinel) const {
  while (!isHostShuttingDown() && !queue_.isTerminated()) {
    if (passWithin(sentinel)) return;
  }
}

// Waits one slice for the workers that are still to reach the barrier. One that has ended, or was
// never started, counts as having reached it: nobody else takes what is on its list.
bool HTTPClient::passWithin(Sentinel& sentinel) const {
  for (std::size_t client = 0; client < workerStates_.size(); ++client) {
    if (workerStates_[client] != WorkerState::Live) sentinel.reach(client);
  }
  return sentinel.waitFor(barrierSliceMs_);
}

void HTTPClient::sendTowardsHost(Message& response, double startTime, std::int64_t status,
                                 std::optional<std::uint64_t> bodyBytes) noexcept {
  if (abandoned_) return;
  try {
    AutoMutex lock(responseMutex_);
    metrics_.recordLatency(orvex::Platform::relativeHighResTimeFloat() - startTime);
    if (bodyBytes && status >= 200 && status < 300) metrics_.recordResponseSize(*bodyBytes);
    if (!hostSide) throw std::runtime_error("no host side has been set");
    hostSide->sendBatchTowardsHost(&response, &response + 1);
    metrics_.countResponse(status);
    metrics_.publishUtilization();
  } catch (const std::exception& failure) {
    reportLostResponse(failure.what());
  } catch (...) {
    reportLostResponse("unknown exception");
  }
}

void HTTPClient::reportLostResponse(const char* reason) const noexcept {
  logger.log(LogLevel::Error, "HTTPClient - Could not send a response towards the host: %s",
             reason);
}

void HTTPClient::publishQueueSize() noexcept {
  metrics_.publishQueueSize([this] { return queue_.count(); });
}

}  // namespace com::corvane::connectivity::plugins
