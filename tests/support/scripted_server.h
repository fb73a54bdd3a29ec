// support/scripted_server.h : an HTTP server on a free loopback port that does exactly what a
// test's script says, byte for byte.
//
//   ScriptedServer server([](Connection& connection) {
//     while (connection.readRequest()) {
//       connection.send("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
//     }
//   });
//
// Role:      each accepted connection runs the script on a thread of its own; what the script
//            receives is recorded. The script's return closes the connection. Behind a tunnel the
//            server plays the proxy as well: it takes a CONNECT request, opens the tunnel and is
//            itself the server at its other end, on the same connection.
// Threads:   any thread, internal lock; port, stopListening, listenOn and die on one thread at a
//            time. The script may run many times at once: what it captures
//            must stand that.
// Ownership: what the script captures must outlive the server.
// Errors:    an exception that leaves the script closes its connection and fails the test when the
//            server is destroyed; one that comes only from the server's being stopped, or from its
//            dying, is ignored.
//            The waits throw HangGuardExpired after 60 s.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/certificates.h"
#include "support/connection.h"
#include "support/request_reader.h"

namespace test_support {

/// The server of this identity, which is reached through a proxy's tunnel.
struct TunnelTo {
  TlsIdentity identity;
};

class ScriptedServer {
 public:
  using Script = std::function<void(Connection&)>;

  /// Listens from now on.
  explicit ScriptedServer(Script script);

  /// The same over TLS. The script runs only after a handshake that succeeded.
  ScriptedServer(const TlsIdentity& identity, Script script);

  /// The same over TLS in a tunnel, which is opened for every CONNECT request.
  ScriptedServer(const TunnelTo& tunnel, Script script);

  /// Cuts all connections off and waits for the scripts; then reports their failures.
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  /// A script that answers every request with the same bytes until the peer closes.
  static Script answeringAll(std::string response);

  /// Of the socket that is or was listened on last.
  std::uint16_t port() const { return port_; }

  /// Connections accepted so far, whether their handshakes succeeded or not.
  std::size_t connectionCount() const;

  /// TLS handshakes that failed so far.
  std::size_t failedHandshakeCount() const;

  /// All whole requests so far, in the order of their last bytes.
  std::vector<HttpRequest> requests() const;

  /// The heads of the CONNECT requests for which tunnels were opened so far; requests() has none of
  /// them.
  std::vector<HttpRequest> tunnels() const;

  /// Blocks until so many requests have come; returns all there are then.
  std::vector<HttpRequest> waitForRequests(std::size_t count) const;

  void waitForConnections(std::size_t count) const;

  /// Blocks until so many scripts have returned and their connections are closed.
  void waitForFinishedConnections(std::size_t count) const;

  /// What has gone wrong in scripts, one text each; they no longer fail the test then.
  std::vector<std::string> takeFailures();

  /// Refuses new connections from now on; those that stand go on.
  void stopListening();

  /// Accepts connections at another listening socket from now on, which it takes over, and only
  /// there.
  void listenOn(int descriptor);

  /// Refuses new connections, and cuts all that stand off without waiting for their scripts, as the
  /// end of the server's process does.
  void die();

 private:
  ScriptedServer(std::optional<TlsIdentity> identity, bool behindTunnel, Script script);
  void acceptAll(int listening);
  void stopConnections();
  bool openTunnel(Connection& connection);
  void serve(Connection& connection);
  void waitUntil(const char* what, const std::function<bool()>& condition) const;

  const std::optional<TlsIdentity> identity_;
  const bool behindTunnel_;
  const Script script_;
  std::uint16_t port_ = 0;

  mutable std::mutex mutex_;  // guards all that follows, but for the descriptor and acceptor_
  mutable std::condition_variable changed_;
  std::vector<std::unique_ptr<Connection>> connections_;
  std::vector<std::thread> threads_;
  std::vector<HttpRequest> requests_;
  std::vector<HttpRequest> tunnels_;
  std::vector<std::string> failures_;
  std::size_t failedHandshakes_ = 0;
  std::size_t finished_ = 0;
  bool stopping_ = false;

  int listening_ = -1;
  std::thread acceptor_;
};

}  // namespace test_support
