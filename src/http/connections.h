// http/connections.h : the open connections of one transport, which can be cut all at once.
//
// Role:      frees workers that are blocked in the network when nobody is to wait for the peer any
//            more. One Connections a transport, one SessionConnection a session.
// Threads:   cut and areCut from any thread; a SessionConnection belongs to its session's worker.
// The
//            mutex "ConnectionsMutex" is innermost: only system calls that do not block are made
//            while it is held.
// Ownership: a SessionConnection borrows its Connections, which outlives it. It keeps a duplicate
// of the
//            socket's descriptor, so that the number can never mean another file while it is used.
// Errors:    kCutText as a std::runtime_error.
// Limits:    looking up a host name, and the exchange with a proxy that opens a TLS tunnel, cannot
//            be cut: they take as long as the system's resolver and the time-out let them.
#pragma once

#include <atomic>
#include <vector>

#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class Connections {
 public:
  static constexpr char kCutText[] = "The connection was cut because the transport is stopping";

  /// Ends every connection, those being made included, and refuses new ones for good. Whoever waits
  /// for the peer is woken. Does not wait.
  void cut();

  bool areCut() const { return cut_.load(std::memory_order_acquire); }

 private:
  friend class SessionConnection;

  bool add(int descriptor);
  void closeAndRemove(int descriptor);

  orvex::Mutex mutex_{"ConnectionsMutex"};
  std::atomic<bool> cut_ = false;  // changed under the mutex
  std::vector<int> descriptors_;   // guarded by the mutex
};

/// The place of one session's connection among those of its transport.
class SessionConnection {
 public:
  explicit SessionConnection(Connections& all) : all_(all) {}
  ~SessionConnection() { close(); }
  SessionConnection(const SessionConnection&) = delete;
  SessionConnection& operator=(const SessionConnection&) = delete;

  /// From now on this socket is the session's. The previous one is let go. Throws kCutText once the
  /// connections have been cut. A socket that the system does not duplicate is used all the same;
  /// only the time-out ends a wait for its peer then.
  void open(int descriptor);

  /// Lets the socket go: it closes when the session has closed it too.
  void close();

  bool isCut() const { return all_.areCut(); }

  /// Throws kCutText once the connections have been cut.
  void requireUncut() const;

 private:
  Connections& all_;
  int duplicate_ = -1;
};

}  // namespace com::corvane::connectivity::plugins
