#include "bench/server_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

ServerSocket::ServerSocket(int descriptor, SSL_CTX* tls)
    : descriptor_(descriptor), ssl_(tls == nullptr ? nullptr : SSL_new(tls)) {
  const int on = 1;
  ::setsockopt(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  if (ssl_) SSL_set_fd(ssl_.get(), descriptor_);
}

ServerSocket::~ServerSocket() { ::close(descriptor_); }

bool ServerSocket::accept() {
  if (!ssl_) return true;
  ERR_clear_error();
  return SSL_accept(ssl_.get()) == 1;
}

std::size_t ServerSocket::receive(char* bytes, std::size_t length) {
  if (ssl_) {
    ERR_clear_error();
    std::size_t count = 0;
    return SSL_read_ex(ssl_.get(), bytes, length, &count) == 1 ? count : 0;
  }
  const ssize_t count = ::recv(descriptor_, bytes, length, 0);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool ServerSocket::send(std::string_view bytes) {
  if (bytes.empty()) return true;
  if (ssl_) {
    ERR_clear_error();
    std::size_t count = 0;
    return SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &count) == 1;
  }
  while (!bytes.empty()) {
    const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void ServerSocket::finish() {
  if (ssl_) {
    ERR_clear_error();
    SSL_shutdown(ssl_.get());
  }
  ::shutdown(descriptor_, SHUT_WR);
}

void ServerSocket::resetAtEnd() {
  const linger atOnce{1, 0};
  ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

}  // namespace bench
