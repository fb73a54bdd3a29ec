#include "support/loopback.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace test_support {

namespace {

int check(int result, const char* what) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return result;
}

int newSocket() { return check(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"); }

sockaddr_in loopbackAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

void bindTo(int descriptor, std::uint16_t port) {
  const sockaddr_in address = loopbackAddress(port);
  check(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
}

void shareAddress(int descriptor) {
  const int on = 1;
  check(setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), "setsockopt");
}

}  // namespace

int bindLoopback() {
  const int descriptor = newSocket();
  bindTo(descriptor, 0);
  return descriptor;
}

int listenLoopback() {
  const int descriptor = bindLoopback();
  check(listen(descriptor, SOMAXCONN), "listen");
  return descriptor;
}

std::uint16_t boundPort(int descriptor) {
  sockaddr_in address{};
  socklen_t bytes = sizeof address;
  check(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &bytes), "getsockname");
  return ntohs(address.sin_port);
}

int connectLoopback(std::uint16_t port) {
  const int descriptor = newSocket();
  const sockaddr_in address = loopbackAddress(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
    const int error = errno;
    close(descriptor);
    throw std::system_error(error, std::generic_category(), "connect");
  }
  return descriptor;
}

int beginConnectLoopback(std::uint16_t port) {
  const int descriptor = newSocket();
  check(fcntl(descriptor, F_SETFL, O_NONBLOCK), "fcntl");
  const sockaddr_in address = loopbackAddress(port);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 &&
      errno != EINPROGRESS) {
    const int error = errno;
    close(descriptor);
    throw std::system_error(error, std::generic_category(), "connect");
  }
  return descriptor;
}

// Sockets of one port exclude each other only when one of them listens, or lacks the option.
RefusingPort::RefusingPort() : descriptor_(newSocket()) {
  shareAddress(descriptor_);
  bindTo(descriptor_, 0);
}

RefusingPort::~RefusingPort() { close(descriptor_); }

int RefusingPort::listen() const {
  const int descriptor = newSocket();
  shareAddress(descriptor);
  bindTo(descriptor, port());
  check(::listen(descriptor, SOMAXCONN), "listen");
  return descriptor;
}

UnansweringPort::UnansweringPort() : listening_(bindLoopback()) {
  check(listen(listening_, 0), "listen");
  // The kernel makes the queue a little longer than asked. Within this machine a connection stands
  // at once, or not at all.
  for (bool full = false; !full;) {
    fillers_.push_back(beginConnectLoopback(port()));
    pollfd connected{fillers_.back(), POLLOUT, 0};
    full = poll(&connected, 1, 0) == 0;
  }
}

UnansweringPort::~UnansweringPort() {
  for (const int descriptor : fillers_) close(descriptor);
  if (listening_ >= 0) close(listening_);
}

int UnansweringPort::drain() {
  for (const int descriptor : std::exchange(fillers_, {})) close(descriptor);
  pollfd waiting{listening_, POLLIN, 0};
  while (poll(&waiting, 1, 0) == 1) {
    close(check(accept(listening_, nullptr, nullptr), "accept"));
  }
  check(listen(listening_, SOMAXCONN), "listen");
  return std::exchange(listening_, -1);
}

}  // namespace test_support
