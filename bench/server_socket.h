// bench/server_socket.h : the server's end of one connection, plain or TLS.
//
// Threads:   one thread only. The process ignores SIGPIPE.
// Ownership: closes the descriptor; borrows the TLS context.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace bench {

class ServerSocket {
 public:
  /// Takes over the descriptor of an accepted connection. `tls` null: plain.
  ServerSocket(int descriptor, SSL_CTX* tls);
  ~ServerSocket();
  ServerSocket(const ServerSocket&) = delete;
  ServerSocket& operator=(const ServerSocket&) = delete;

  /// The handshake, where there is one. False: the peer has given up.
  bool accept();

  /// Waits for bytes. Result: their number; 0: the connection is at its end, one way or another.
  std::size_t receive(char* bytes, std::size_t length);

  /// Sends all of it. False: the peer is gone.
  bool send(std::string_view bytes);

  /// Ends our direction, over TLS with its own end mark.
  void finish();

  /// Has the destructor end the connection hard.
  void resetAtEnd();

 private:
  struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
  };

  const int descriptor_;
  const std::unique_ptr<SSL, FreeSsl> ssl_;
};

}  // namespace bench
