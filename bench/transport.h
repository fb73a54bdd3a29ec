// bench/transport.h : one transport of the built plugin, from create to destroy.
//
// Threads:   send any thread; the rest one thread only.
// Ownership: shuts the transport down, which answers what is queued, and destroys it.
// Errors:    std::runtime_error "the transport's <operation> failed".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/judge.h"
#include "bench/server.h"
#include "model/message.h"
#include "support/plugin_library.h"

namespace bench {

struct TransportOptions {
  Endpoint server;
  std::int64_t clients = 1;
  std::string authorityFile;  // of the server's certificate
};

class Transport {
 public:
  Transport(const test_support::PluginLibrary& library, const TransportOptions& options,
            Judge& judge);
  ~Transport();
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  /// Delivers a batch; blocks while the transport has no room.
  void send(std::vector<com::corvane::connectivity10_15_0::Message>& batch);

 private:
  const test_support::PluginLibrary& library_;
  void* plugin_;
};

}  // namespace bench
