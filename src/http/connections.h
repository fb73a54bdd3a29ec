// http/connections.h : the open connections of one transport, which can be cut all at once.
//
// Role:      frees workers that are blocked in the network when nobody is to wait for the peer any
//            more. One Connections a transport; each PeerSocket of its sessions is one of them.
// Threads:   cut and areCut from any thread, the rest by the workers. The mutex "ConnectionsMutex"
//            is innermost: only system calls that do not block are made while it is held.
// Ownership: borrows the descriptors; they are closed through it, so that a number can never mean
//            another file while it stands here.
// Errors:    kCutText as a std::runtime_error.
// Limits:    looking up a host name cannot be cut: it takes as long as the system's resolver lets
//            it.
#pragma once

#include <atomic>
#include <vector>

#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class Connections {
 public:
  static constexpr char kCutText[] = "The connection was cut because the transport is stopping";

  /// Ends every connection and refuses new ones for good. Whoever waits for the peer is woken. Does
  /// not wait. Once is enough: who begins to connect meanwhile looks at areCut before waiting.
  void cut();

  bool areCut() const { return cut_.load(std::memory_order_acquire); }

  /// Throws kCutText once the connections have been cut.
  void requireUncut() const;

  /// A socket that is to be cut with the others. Throws kCutText, and adds nothing, once they have
  /// been.
  void add(int descriptor);

  /// Closes a socket, added or not, and forgets it.
  void closeAndRemove(int descriptor) noexcept;

 private:
  orvex::Mutex mutex_{"ConnectionsMutex"};
  std::atomic<bool> cut_ = false;  // changed under the mutex
  std::vector<int> descriptors_;   // guarded by the mutex
};

}  // namespace com::corvane::connectivity::plugins
