// support/loopback.h : TCP sockets on 127.0.0.1, on ports that the system chooses.
//
// Errors:    std::system_error when the system refuses.
#pragma once

#include <cstdint>
#include <vector>

namespace test_support {

/// A TCP socket bound to a free port and not yet listening: connections to the port are refused.
/// Result: its descriptor, which is not inherited by other programs.
int bindLoopback();

/// The same, listening: connections succeed whether or not anybody accepts them.
int listenLoopback();

/// The port that a socket is bound to.
std::uint16_t boundPort(int descriptor);

/// A socket connected to a port.
int connectLoopback(std::uint16_t port);

/// A non-blocking socket that has begun to connect to a port.
int beginConnectLoopback(std::uint16_t port);

/// A port that refuses every connection whenever no socket of listen() is open. Nobody else gets it
/// as long as the object lives.
class RefusingPort {
 public:
  RefusingPort();
  ~RefusingPort();
  RefusingPort(const RefusingPort&) = delete;
  RefusingPort& operator=(const RefusingPort&) = delete;

  std::uint16_t port() const { return boundPort(descriptor_); }

  /// A socket that listens on the port; its descriptor is the caller's. One at a time.
  int listen() const;

 private:
  const int descriptor_;
};

/// A port that leaves every new connection waiting until the object is drained or goes away: its
/// queue of connections that nobody accepts is full.
class UnansweringPort {
 public:
  UnansweringPort();
  ~UnansweringPort();
  UnansweringPort(const UnansweringPort&) = delete;
  UnansweringPort& operator=(const UnansweringPort&) = delete;

  std::uint16_t port() const { return boundPort(listening_); }

  /// Empties the queue of what stands in it. Result: the listening socket, which is the caller's
  /// from then on. Once only.
  int drain();

 private:
  int listening_;
  std::vector<int> fillers_;
};

}  // namespace test_support
