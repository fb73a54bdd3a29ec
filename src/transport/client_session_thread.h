// transport/client_session_thread.h : one worker, which performs requests on its own session.
//
// Threads:   run on its own thread; setSchedulableQueue from any.
// Ownership: counted; the transport holds one reference, the runtime another while it runs.
//            Borrows the transport, which outlives it.
// Errors:    the constructor throws what setting up the session throws. run catches standard
//            exceptions and logs them.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

#include "http/http_exchange.h"
#include "runtime/schedulable_queue.h"
#include "runtime/thread.h"
#include "transport/http_client.h"

namespace com::corvane::connectivity::plugins {

class HTTPClient::ClientSessionThread final : public orvex::Thread {
 public:
  ClientSessionThread(HTTPClient& transport, std::size_t client);

  /// Takes requests and performs them until the queue is terminated. Returns 0.
  int run() override;

  /// The queue of the host that processing is entered in from now on.
  void setSchedulableQueue(orvex::SchedulableQueue* queue) { schedulableQueue_ = queue; }

 private:
  bool awaitMemory();
  void process(Message& message);

  HTTPClient& transport_;
  const std::size_t client_;
  const ThreadLogger logger_;
  std::atomic<orvex::SchedulableQueue*> schedulableQueue_ = nullptr;
  HttpExchange exchange_;
  const std::function<void()> rest_ = [this] { exchange_.rest(); };
};

}  // namespace com::corvane::connectivity::plugins
