// races/plugin_host.h : a host with many transports of the built plugin in one process.
//
// Role:      what the tests of this folder drive: transports, what they answer, what the process
//            holds.
// Threads:   a HostedTransport's operations from any thread, as the plugin allows them; the counts
//            of what the process holds from the test's own, while no other thread is made or ends.
// Ownership: a HostedTransport owns its transport. Its answers stay readable afterwards.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kel/host_control.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"

namespace races {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;
using test_support::settingsFor;
using test_support::tlsSettingsFor;

/// What came back from one transport.
class Answers {
 public:
  struct Answer {
    std::int64_t requestId;
    std::int64_t status;
    std::string reason;
  };

  void add(const Message& message);
  void waitFor(std::size_t count) const;
  std::vector<Answer> all() const;
  std::size_t count() const { return all().size(); }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Answer> answers_;
};

/// One transport as its host sees it.
class HostedTransport {
 public:
  /// Creates it; a failure fails the test.
  HostedTransport(const test_support::PluginLibrary& library, map_t settings);
  ~HostedTransport() { destroy(); }
  HostedTransport(const HostedTransport&) = delete;
  HostedTransport& operator=(const HostedTransport&) = delete;

  void start();

  /// Delivers one GET request; its target is `path`.
  void send(std::int64_t id, const std::string& path);

  void goDown() { kel_host_set_shutting_down(this, true); }  // the host, that is
  void shutdown();
  void destroy();

  const Answers& answers() const { return answers_; }

  /// The items of the status display, as "KEY = VALUE".
  std::vector<std::string> statusItems();

 private:
  static void receive(void* self, kel_message* first, kel_message* end);

  const test_support::PluginLibrary& library_;
  Answers answers_;
  void* plugin_;
};

/// Takes the host's log away from standard error, and notes the target of each request that a
/// worker has begun to perform. One at a time; the transports have to be created after it.
class HandledRequests {
 public:
  HandledRequests();
  ~HandledRequests();
  HandledRequests(const HandledRequests&) = delete;
  HandledRequests& operator=(const HandledRequests&) = delete;

  std::multiset<std::string> all() const;
  void clear();

 private:
  static void receive(void* self, const char* category, std::int32_t level, const char* text);

  mutable std::mutex mutex_;
  std::multiset<std::string> targets_;
};

/// Makes TLS contexts cheap: from now on this process has no authorities of the platform's.
void withoutPlatformAuthorities();

std::size_t openDescriptors();

/// Waits until the process has no more than `count` threads: one that has been joined may stand in
/// the system's list for another moment.
void waitForThreads(std::size_t count);
std::size_t threads();

/// `rounds`, or the number in the environment variable RACES_ROUNDS: for longer runs by hand.
int roundsOr(int rounds);

}  // namespace races
