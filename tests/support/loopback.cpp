#include "support/loopback.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

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

}  // namespace

int bindLoopback() {
  const int descriptor = newSocket();
  const sockaddr_in address = loopbackAddress(0);
  check(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
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

RefusingPort::~RefusingPort() { close(descriptor_); }

UnansweringPort::UnansweringPort() : descriptors_{bindLoopback()} {
  check(listen(descriptors_.front(), 0), "listen");
  // The kernel makes the queue a little longer than asked. Within this machine a connection stands
  // at once, or not at all.
  for (bool full = false; !full;) {
    descriptors_.push_back(beginConnectLoopback(port()));
    pollfd connected{descriptors_.back(), POLLOUT, 0};
    full = poll(&connected, 1, 0) == 0;
  }
}

UnansweringPort::~UnansweringPort() {
  for (const int descriptor : descriptors_) {
    close(descriptor);
  }
}

}  // namespace test_support
