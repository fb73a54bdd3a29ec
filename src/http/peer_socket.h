// http/peer_socket.h : one TCP connection to the peer, on which every wait is bounded.
//
// Role:      the one place where a worker waits for the network; TLS and HTTP stand on top of it.
//            A wait either belongs to a step that has to be through as a whole, or to a stretch
//            that ends with each byte. A peer that has used up its time is given no more.
// Threads:   one worker only; Connections::cut wakes it from any thread.
// Ownership: owns its descriptor. Borrows the connections, which outlive it.
// Errors:    Poco::TimeoutException when the time for a step or for a stretch of receiving is over;
//            Poco::IOException "Operation would block" when that for a stretch of sending is;
//            POCO's exception for what the system reports; instead of any of them
//            Connections::kCutText once the connections have been cut.
// Limits:    time-outs up to 2,147,483 seconds: the system counts milliseconds in 31 bits.
#pragma once

#include <Poco/Net/SocketAddress.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "http/connections.h"

namespace com::corvane::connectivity::plugins {

class PeerSocket {
 public:
  explicit PeerSocket(Connections& connections) : connections_(connections) {}
  ~PeerSocket() { close(); }
  PeerSocket(const PeerSocket&) = delete;
  PeerSocket& operator=(const PeerSocket&) = delete;

  /// Makes the socket, which can be cut from then on. `timeoutMs` bounds each of its waits.
  /// REQUIRES: it is closed; timeoutMs > 0.
  void open(int family, std::int64_t timeoutMs);

  /// Connects, within one time-out. REQUIRES: open.
  void connect(const Poco::Net::SocketAddress& address);

  /// All that is sent and received from now on, until stretches are bounded, is one step: it has to
  /// be through within one time-out from now.
  void boundStep();

  /// From now on each stretch in which no byte is received, or none is taken by the peer, is
  /// bounded for itself.
  void boundStretches();

  /// From now on nothing is waited for.
  void stopWaiting() { isSpent_ = true; }

  /// Waits for bytes and stores up to `length` of them. Returns their number, 0 when the peer has
  /// closed.
  std::size_t receive(char* buffer, std::size_t length);

  /// Sends all of both, one behind the other. The peer has taken what the system no longer keeps
  /// for it.
  void send(std::string_view first, std::string_view second = {});

  /// How many bytes the system has taken to be sent, over all connections.
  std::uint64_t takenBytes() const { return takenBytes_; }

  /// True when receive would not wait.
  bool hasInput() const;

  /// True when there are bytes to receive, rather than the end of the connection.
  bool hasBytes() const;

  /// Closes the connection, if there is one. Does not throw.
  void close() noexcept;

  bool isOpen() const { return descriptor_ >= 0; }

  /// -1 when closed.
  int descriptor() const { return descriptor_; }

 private:
  enum class Bound { Step, Stretch };

  void startTime();
  bool awaitUntilDeadline(short events);
  void awaitRoom();
  int untakenBytes() const;
  [[noreturn]] void timeOut();
  [[noreturn]] void fail(int error, const std::string& address = {}) const;

  Connections& connections_;
  int descriptor_ = -1;
  std::uint64_t takenBytes_ = 0;
  std::int64_t timeoutNanos_ = 0;
  std::int64_t deadlineNanos_ = 0;  // of the step, or of the stretch that is being waited for
  Bound bound_ = Bound::Stretch;
  bool isFresh_ = false;  // no part of the time up to the deadline has passed yet
  bool isSpent_ = false;
};

}  // namespace com::corvane::connectivity::plugins
