// http/tls_sessions.h : what a server has given for shorter handshakes (RFC 8446, section 2.2; RFC
// 5246, section 7.3).
//
// Role:      keeps the latest session of the connections of one context, to one server, and offers
//            it to the next ones. The server decides whether it takes that; if not, the handshake
//            is a whole one. In a short one no certificate is shown: the one of before has been
//            verified then, and has to be in its time still.
// Threads:   any worker.
// Ownership: borrows the context. Connections of it are over before this ends.
// Errors:    std::bad_alloc, from offerTo.
#pragma once

#include <openssl/ssl.h>

#include <string>

#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class TlsSessions {
 public:
  /// From now on keeps what servers give to connections of the context.
  explicit TlsSessions(SSL_CTX& context);
  TlsSessions(const TlsSessions&) = delete;
  TlsSessions& operator=(const TlsSessions&) = delete;

  /// To call before the handshake.
  void offerTo(SSL& connection);

  /// For a handshake that has failed: the next one has to be a whole one.
  void forget() noexcept;

 private:
  static int keep(SSL* connection, SSL_SESSION* session);
  void replaceBy(std::string bytes) noexcept;

  orvex::Mutex mutex_{"TlsSessionsMutex"};
  // Encoded (SSL_SESSION's ASN.1): the library's own object is not for two threads.
  std::string latest_;
};

}  // namespace com::corvane::connectivity::plugins
