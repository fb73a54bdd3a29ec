#include "transport/client_session_thread.h"

#include <cstdint>
#include <exception>

#include "metrics/busy_record.h"
#include "model/prefetch.h"

namespace com::corvane::connectivity::plugins {

HTTPClient::ClientSessionThread::ClientSessionThread(HTTPClient& transport, std::size_t client)
    : Thread("clientSessionThread"),
      transport_(transport),
      client_(client),
      logger_(transport.logger, client),
      exchange_(transport.exchangeContext(), logger_) {}

int HTTPClient::ClientSessionThread::run() {
  transport_.enterWorkerThread();
  try {
    while (true) {
      Message request = transport_.nextRequest(client_, rest_);
      connectivity10_15_0::prefetch(request);
      if (awaitMemory()) {
        process(request);
      } else {
        transport_.reportLostResponse("std::bad_alloc");
      }
    }
  } catch (const std::exception& failure) {
    logger_.log(transport_.shuttingDown_ ? LogLevel::Debug : LogLevel::Error,
                "HTTPClient - Caught exception during processing - %s", failure.what());
  }
  exchange_.close();
  transport_.workerStates_[client_] = WorkerState::Ended;
  return 0;
}

// A request is begun only when it can be answered, whatever then becomes of the memory. Returns
// false when the transport ends before there is any.
bool HTTPClient::ClientSessionThread::awaitMemory() {
  constexpr std::int64_t kSliceMs = 10;
  AffinityQueue& queue = transport_.queue_;
  while (!exchange_.prepareAnswer()) {
    if (queue.isTerminated()) return false;
    queue.pause(kSliceMs);
  }
  return true;
}

void HTTPClient::ClientSessionThread::process(Message& message) {
  const orvex::AutoSchedulableQueue scope(schedulableQueue_);
  const BusyScope busy(transport_.metrics_.busyRecord(), client_);
  exchange_.mapMessageToRequest(message);
}

}  // namespace com::corvane::connectivity::plugins
