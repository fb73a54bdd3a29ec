// comparison/exchange.h : one connection of a client that the plugin is compared with.
//
// Role:      the simplest program around a library, or around sockets: the same request again and
//            again on a connection that is kept.
// Threads:   one thread only.
// Errors:    std::exception when the exchange fails, or the answer is not status 200 with as many
//            bytes as the work says.
#pragma once

#include <memory>

#include "bench/comparison/work.h"

namespace bench {

class Exchange {
 public:
  virtual ~Exchange() = default;

  /// Sends one request and receives the whole answer.
  virtual void perform() = 0;
};

/// The connection is opened at once, or with the first request. The work outlives it.
using ExchangeFactory = std::unique_ptr<Exchange> (*)(const Work& work);

/// Nothing: what is measured at a steady rate is how late the system wakes a thread.
std::unique_ptr<Exchange> noExchange(const Work& work);

/// System calls alone, and OpenSSL where the work asks for TLS: a request that is ready beforehand,
/// no more of the answer looked at than its length needs.
std::unique_ptr<Exchange> socketExchange(const Work& work);

/// The HTTP client session of the library that the plugin is built on.
std::unique_ptr<Exchange> pocoExchange(const Work& work);

/// One easy handle of libcurl.
std::unique_ptr<Exchange> curlExchange(const Work& work);

}  // namespace bench
