// http/session_socket.h : what a POCO session takes for its socket: a PeerSocket, with TLS on top
// where that has been started.
//
// Threads:   one worker only.
// Ownership: counted, as POCO's sockets are. Owns connection and TLS.
// Errors:    PeerSocket's and TlsStream's.
#pragma once

#include <Poco/Net/StreamSocketImpl.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "http/peer_socket.h"
#include "http/tls_stream.h"

namespace com::corvane::connectivity::plugins {

class SessionSocket final : public Poco::Net::StreamSocketImpl {
 public:
  explicit SessionSocket(Connections& connections) : peer_(connections) {}

  /// Closes what there is and connects, within the time-out.
  void connectTo(const Poco::Net::SocketAddress& address, std::int64_t timeoutMs);

  /// From here on all bytes go through TLS. REQUIRES: connected.
  void startTls(const Poco::Net::Context::Ptr& context, const std::string& host);

  /// The connection, for the bounds of its waits.
  PeerSocket& peer() { return peer_; }
  const PeerSocket& peer() const { return peer_; }

  /// True when the peer has sent what has not been received yet.
  bool hasBytes();

  std::size_t receive(char* buffer, std::size_t length);
  void send(const char* bytes, std::size_t length);

  // For the library, which writes through them.
  int sendBytes(const void* buffer, int length, int flags) override;
  void close() noexcept override;

 private:
  ~SessionSocket() override { SessionSocket::close(); }

  PeerSocket peer_;
  std::optional<TlsStream> tls_;
};

}  // namespace com::corvane::connectivity::plugins
