// http/session_socket.h : the socket of a session: a PeerSocket, with TLS on top where that has
// been started.
//
// Threads:   one worker only.
// Ownership: owns connection and TLS.
// Errors:    PeerSocket's and TlsStream's.
#pragma once

#include <Poco/Net/Context.h>
#include <Poco/Net/SocketAddress.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "http/peer_socket.h"
#include "http/tls_stream.h"

namespace com::corvane::connectivity::plugins {

class SessionSocket {
 public:
  explicit SessionSocket(Connections& connections) : peer_(connections) {}
  ~SessionSocket() { close(); }
  SessionSocket(const SessionSocket&) = delete;
  SessionSocket& operator=(const SessionSocket&) = delete;

  /// Closes what there is and connects, within the time-out.
  void connectTo(const Poco::Net::SocketAddress& address, std::int64_t timeoutMs);

  /// From here on all bytes go through TLS. REQUIRES: connected.
  void startTls(const Poco::Net::Context::Ptr& context, TlsSessions& sessions,
                const std::string& host);

  bool isOpen() const { return peer_.isOpen(); }

  /// The connection, for the bounds of its waits.
  PeerSocket& peer() { return peer_; }
  const PeerSocket& peer() const { return peer_; }

  /// True when the peer has sent what has not been received yet.
  bool hasBytes();

  std::size_t receive(char* buffer, std::size_t length);

  /// Sends both, one behind the other.
  void send(std::string_view first, std::string_view second);

  void close() noexcept;

  /// Gives memory back that only a request under way needs.
  void rest() noexcept {
    if (tls_) tls_->rest();
  }

 private:
  PeerSocket peer_;
  std::optional<TlsStream> tls_;
};

}  // namespace com::corvane::connectivity::plugins
