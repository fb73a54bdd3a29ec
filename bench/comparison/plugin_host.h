// comparison/plugin_host.h : the smallest host for the built plugin.
//
// Role:      one transport. One thread delivers messages in batches, and the function that takes
//            the answers notes when they come.
// Threads:   one thread only; the answers come on the transport's threads, one at a time.
// Ownership: borrows work and measurement. The plugin stays loaded.
// Errors:    std::runtime_error when the plugin cannot be loaded or refuses an operation.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <semaphore>
#include <vector>

#include "bench/comparison/measurement.h"
#include "bench/comparison/pace.h"
#include "bench/comparison/work.h"
#include "model/map_key.h"
#include "model/message.h"
#include "support/plugin_library.h"

namespace bench {

class PluginHost {
 public:
  using Message = com::corvane::connectivity10_15_0::Message;

  /// Creates and starts a transport with as many clients as the work has connections.
  PluginHost(const Work& work, Measurement& measurement);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  /// So many requests of the work, from the one with this number on.
  std::vector<Message> messages(std::uint64_t first, std::uint64_t count) const;

  /// Delivers messages of messages(), and returns when all are answered.
  void deliver(std::vector<Message> messages, const Pace& pace);

  /// From now on the latency of each request is recorded, by its number.
  void startRecording() { isRecording_ = true; }

  /// Shuts the transport down and destroys it. Nothing can be delivered afterwards.
  void end();

 private:
  static void receive(void* host, kel_message* first, kel_message* end);
  void take(const Message& answer);
  std::uint64_t number(const Message& message) const;  // its "requestId"

  const Work& work_;
  Measurement& measurement_;
  const com::corvane::connectivity10_15_0::MapKey httpKey_{"http"};
  const com::corvane::connectivity10_15_0::MapKey statusKey_{"statusCode"};
  const com::corvane::connectivity10_15_0::MapKey requestIdKey_{"requestId"};
  const test_support::PluginLibrary library_;
  void* plugin_ = nullptr;
  bool isRecording_ = false;
  std::vector<std::int64_t> beginNanos_;  // by request; since when its latency counts
  static constexpr std::ptrdiff_t kAnyNumber = 1'000'000'000;
  std::counting_semaphore<kAnyNumber> room_;
  std::atomic<std::uint64_t> outstanding_ = 0;
};

}  // namespace bench
