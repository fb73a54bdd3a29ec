#include "fuzz/loopback_peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>
#include <utility>

#include "fuzz/fuzz_check.h"

namespace fuzz {

LoopbackPeer::LoopbackPeer(Handler handler) : handler_(std::move(handler)) {
  listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const where = reinterpret_cast<sockaddr*>(&address);
  socklen_t length = sizeof(address);
  const bool isListening = ::bind(listener_, where, length) == 0 && ::listen(listener_, 16) == 0 &&
                           ::getsockname(listener_, where, &length) == 0;
  require(isListening, "cannot listen");
  port_ = ntohs(address.sin_port);
  std::thread([this] { serve(); }).detach();
}

void LoopbackPeer::serve() {
  while (true) {
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    const int on = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    handler_(connection);
    ::close(connection);
  }
}

void sendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace fuzz
