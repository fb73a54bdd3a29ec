// http/client_session.h : one worker's connection to the server: when one is made, what is sent on
// it, and strict reading.
//
// Role:      joins a SessionSocket (connecting, TLS, waiting) with a ResponseReader (receiving),
//            and decides when a connection is used again. POCO's own sessions are not used: they
//            deliver bodies that were cut short as whole ones, let the rest of one answer begin
//            the next, and send 4,096 bytes at a time.
// Threads:   one worker only.
// Ownership: the connection closes with the session.
// Errors:    SessionSocket's and ResponseReader's; Poco::Net::NetException for a host name that
//            cannot be looked up; while a tunnel is being opened Poco::Net::HTTPException "Cannot
//            establish proxy connection" with the reason. Call reset after any of them.
// Limits:    as long as the host name is looked up nothing is bounded or can be cut.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "http/connections.h"
#include "http/request_head.h"
#include "http/response_reader.h"
#include "http/session_settings.h"
#include "http/session_socket.h"

namespace com::corvane::connectivity::plugins {

class ClientSession {
 public:
  virtual ~ClientSession() = default;

  /// Readies the connection for a request: makes one unless there is one to be used again. Adds
  /// what belongs to the connection to the head: Host, and what the proxy needs.
  virtual void begin(RequestHead& head) = 0;

  /// Sends both, one behind the other. When the connection turns out to have been lost before the
  /// first byte of a request, a new one is made, once.
  virtual void send(std::string_view first, std::string_view second) = 0;

  /// True when the peer has sent what has not been received yet, or has closed.
  virtual bool hasInput() const = 0;

  /// Closes the connection; the next request opens a new one.
  virtual void reset() noexcept = 0;

  /// Gives memory back that only a request under way needs. The connection stays.
  virtual void rest() noexcept = 0;

  ResponseReader& reader() { return reader_; }

 protected:
  explicit ClientSession(ByteSource& source) : reader_(source) {}

  ResponseReader reader_;
};

class StrictSession final : private ByteSource, public ClientSession {
 public:
  /// A connection is used again for so long after its latest request; servers close what is idle.
  static constexpr std::int64_t kKeptNanos = 8'000'000'000;

  /// Borrows the connections.
  StrictSession(Connections& connections, SessionSettings settings);

  const SessionSettings& settings() const { return settings_; }

  void begin(RequestHead& head) override;
  void send(std::string_view first, std::string_view second) override;
  bool hasInput() const override;
  void reset() noexcept override;
  void rest() noexcept override { socket_.rest(); }

 private:
  // For the reader.
  void beginHead() override { socket_.peer().boundStep(); }
  void beginBody() override { socket_.peer().boundStretches(); }
  std::size_t receive(char* buffer, std::size_t length) override;

  void connect();
  void openTunnel();
  void addProxyAuthorization(RequestHead& head) const;

  const SessionSettings settings_;
  // Constant, and the same in every request.
  const std::string hostField_;
  const std::string proxyPrefix_;  // of the URIs that a proxy is asked for
  SessionSocket socket_;
  std::int64_t requestNanos_ = 0;  // when the latest request began
  bool isFirstSend_ = false;       // of the request
};

}  // namespace com::corvane::connectivity::plugins
