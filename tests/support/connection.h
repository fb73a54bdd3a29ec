// support/connection.h : the server's end of one loopback connection, plain or TLS, steered by a
// test's script.
//
// Role:      the script of a ScriptedServer reads requests and sends what bytes it likes.
// Threads:   the script's thread only; `stop` may be called from any thread.
// Ownership: the ScriptedServer makes it; the script borrows it for the length of its run.
// Errors:    ConnectionLost when the peer is gone while bytes are sent, or resets in the middle of
//            a request; HangGuardExpired when nothing happens for 60 s; MalformedRequest and
//            TruncatedRequest as in request_reader.h.
#pragma once

#include <openssl/ssl.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/certificates.h"
#include "support/request_reader.h"

namespace test_support {

class ConnectionLost : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class HangGuardExpired : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Connection {
 public:
  using Recorder = std::function<void(const HttpRequest&)>;

  /// Takes over the descriptor of an accepted connection. `recorder` receives every whole request.
  Connection(int descriptor, std::size_t index, Recorder recorder);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// 0 for the first connection that the server accepted.
  std::size_t index() const { return index_; }

  /// The next request, head and body; recorded. None: the peer has closed, or reset between two
  /// requests.
  std::optional<HttpRequest> readRequest();

  /// The head alone, for a script that answers before the body has come; not recorded.
  std::optional<HttpRequest> readHead();

  /// The body that belongs to such a head; the request is recorded then.
  void readBody(HttpRequest& request);

  /// Any bytes, as they come, those already read included; empty: the peer has closed.
  std::string readSome() { return reader_.readSome(); }

  /// Sends all the bytes before it returns.
  void send(std::string_view bytes);

  /// Like send; false instead of ConnectionLost, for scripts whose peer may give up.
  bool trySend(std::string_view bytes);

  /// Speaks TLS from here on, as the server. False: the handshake failed, the peer refusing our
  /// certificate for instance; the connection is of no use then.
  bool startTls(const TlsIdentity& identity);

  /// The host name that the peer asked for in its TLS handshake; empty: none.
  std::string serverName() const;

  /// Ends our direction (over TLS with close_notify) and leaves the peer's open.
  void finish();

  /// Closes in order, over TLS with close_notify. Bytes of the peer that were not read make the
  /// system send a reset instead of an end: read the request first. A script's return does this.
  void close();

  /// Closes a TLS connection without close_notify, as a cut line does.
  void closeWithoutNotify();

  /// Closes with a TCP reset, which comes behind all that was sent.
  void reset();

  /// Discards what comes until the peer closes or resets, or the server is stopped.
  void waitUntilClosed();

  /// Cuts the connection off, so that whatever the script waits for here ends. Any thread.
  void stop();

  /// Whether that has been done. Any thread.
  bool isStopped() const { return stopped_; }

 private:
  struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };

  std::string receive();
  void sendPlain(std::string_view bytes);
  void sendTls(std::string_view bytes);
  void closeDescriptor();

  const std::size_t index_;
  const Recorder recorder_;
  RequestReader reader_;
  std::unique_ptr<SSL, FreeSsl> ssl_;
  bool peerReset_ = false;
  std::atomic<bool> stopped_ = false;

  std::mutex mutex_;  // guards the change of descriptor_
  int descriptor_;    // -1 once closed
};

}  // namespace test_support
