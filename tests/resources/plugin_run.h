// resources/plugin_run.h : a host and the plugin in it, from before its creation to after its end.
//
// Role:      drives the plugin through its entry points, with the host's own work exempt from the
//            faults that are ordered. An answer is handed out when it has come; more than one for
//            a request is found at the end.
// Threads:   the test's own; answers come on the plugin's workers.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "http/messages.h"
#include "kel/plugin.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {

inline constexpr std::int32_t kDebugLevel = 5;  // of the log

struct Reply {
  std::int64_t id = -1;  // -1: empty
  std::int64_t status = 0;
  std::string reason;
  std::string payload;
};

class PluginRun {
 public:
  PluginRun();
  ~PluginRun();
  PluginRun(const PluginRun&) = delete;
  PluginRun& operator=(const PluginRun&) = delete;

  void configure(const char* key, data_t value);

  /// As the host does it; each returns whether the plugin did. What the plugin does on this thread
  /// meets the faults.
  bool create();
  bool setNextTowardsHost();
  bool start();
  bool shutdown();
  bool destroy();

  /// Creates and starts a plugin that nothing is wrong with.
  void begin();

  /// Hands one request over. Returns false, with the message as the plugin left it, when the plugin
  /// refused it.
  bool send(Message& message);

  /// Waits for the answer to the request that was taken as number `request` (0: the first).
  Reply waitForReply(std::int64_t request);

  /// One request and its answer.
  Reply perform(RequestMessage request);

  std::int64_t requests() const { return requests_; }
  std::int64_t replies();

  test_support::FakeHost& host() { return host_; }

 private:
  static void receive(void* self, kel_message* first, kel_message* end);

  test_support::FakeHost host_;
  map_t config_;
  void* plugin_ = nullptr;
  std::int64_t requests_ = 0;

  std::mutex mutex_;  // guards replies_
  std::condition_variable replied_;
  std::vector<Reply> replies_;
};

}  // namespace com::corvane::connectivity::plugins
