#include "http/peer_socket.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketImpl.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <utility>

#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using orvex::Platform;
using Poco::Net::SocketAddress;

namespace {

constexpr std::int64_t kNanosPerMs = 1'000'000;

// The library's exceptions for the system's error numbers, which it keeps for derived classes.
struct SystemErrors : Poco::Net::SocketImpl {
  using SocketImpl::error;
};

void setOption(int descriptor, int level, int name, const void* value, std::size_t bytes) {
  const int result = ::setsockopt(descriptor, level, name, value, static_cast<socklen_t>(bytes));
  if (result != 0) SystemErrors::error(errno);
}

// What poll gives: 0 when that time of the monotonic clock has come, at which it has looked once
// more; below 0 for an error.
int awaitUntil(std::int64_t nanos, int descriptor, short events) {
  while (true) {
    const std::int64_t leftNanos = std::max<std::int64_t>(nanos - Platform::monotonicNanos(), 0);
    const std::int64_t leftMs = std::min<std::int64_t>((leftNanos + kNanosPerMs - 1) / kNanosPerMs,
                                                       std::numeric_limits<int>::max());
    pollfd polled{descriptor, events, 0};
    const int result = ::poll(&polled, 1, static_cast<int>(leftMs));
    if (result > 0 || (result < 0 && errno != EINTR)) return result;
    if (leftNanos == 0) return 0;
  }
}

}  // namespace

void PeerSocket::open(int family, std::int64_t timeoutMs) {
  connections_.requireUncut();
  descriptor_ = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor_ < 0) fail(errno);
  timeoutNanos_ = timeoutMs * kNanosPerMs;
  isSpent_ = false;
  connections_.add(descriptor_);
}

// Cutting does nothing to a socket that does not connect yet: that it has happened must be looked
// at once the system is at it, after which cutting ends the wait.
void PeerSocket::connect(const SocketAddress& address) {
  boundStep();
  if (::connect(descriptor_, address.addr(), address.length()) != 0) {
    if (errno != EINPROGRESS) fail(errno, address.toString());
    connections_.requireUncut();
    if (!awaitUntilDeadline(POLLOUT)) {
      throw Poco::TimeoutException("connect timed out", address.toString());
    }
    int error = 0;
    socklen_t bytes = sizeof(error);
    if (::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &bytes) != 0) error = errno;
    if (error != 0) fail(error);
  }
  // A wait that begins afresh is left to the system: one call instead of three.
  if (::fcntl(descriptor_, F_SETFL, 0) != 0) fail(errno);
  const std::int64_t seconds = timeoutNanos_ / kNanosPerMs / 1000;
  const std::int64_t micros = timeoutNanos_ / 1000 % 1'000'000;
  const timeval timeout{static_cast<time_t>(seconds), static_cast<suseconds_t>(micros)};
  setOption(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
  const int on = 1;
  setOption(descriptor_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  boundStretches();
}

void PeerSocket::boundStep() {
  bound_ = Bound::Step;
  startTime();
}

void PeerSocket::boundStretches() { bound_ = Bound::Stretch; }

void PeerSocket::startTime() {
  deadlineNanos_ = Platform::monotonicNanos() + (isSpent_ ? 0 : timeoutNanos_);
  isFresh_ = !isSpent_;
}

std::size_t PeerSocket::receive(char* buffer, std::size_t length) {
  if (bound_ == Bound::Stretch) startTime();
  while (true) {
    const bool systemWaits = isFresh_ && !isSpent_;
    isFresh_ = false;
    const ssize_t count = ::recv(descriptor_, buffer, length, systemWaits ? 0 : MSG_DONTWAIT);
    if (count > 0) return static_cast<std::size_t>(count);
    if (count == 0) {
      // What was cut looks like what the peer has closed: the end of some bodies.
      connections_.requireUncut();
      return 0;
    }
    const int error = errno;
    if (error == EINTR) continue;
    if (error != EAGAIN) fail(error);
    if (systemWaits || !awaitUntilDeadline(POLLIN)) timeOut();
  }
}

void PeerSocket::timeOut() {
  connections_.requireUncut();
  isSpent_ = true;
  throw Poco::TimeoutException();
}

void PeerSocket::send(std::string_view first, std::string_view second) {
  while (!first.empty() || !second.empty()) {
    iovec pieces[2] = {{const_cast<char*>(first.data()), first.size()},
                       {const_cast<char*>(second.data()), second.size()}};
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = second.empty() ? 1 : 2;
    const ssize_t count = ::sendmsg(descriptor_, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      const auto taken = static_cast<std::size_t>(count);
      const std::size_t ofFirst = std::min(taken, first.size());
      takenBytes_ += taken;
      first.remove_prefix(ofFirst);
      second.remove_prefix(taken - ofFirst);
    } else if (errno == EAGAIN) {
      awaitRoom();
    } else if (errno != EINTR) {
      fail(errno);
    }
  }
}

// The system reports room only when a good part of its buffer is free. A peer that takes less than
// that within the time-out is slow, not stalled: what it takes is looked at now and then.
void PeerSocket::awaitRoom() {
  constexpr std::int64_t kLooksPerTimeout = 16;
  const bool isStretch = bound_ == Bound::Stretch;
  if (isStretch) startTime();
  isFresh_ = false;
  int untaken = untakenBytes();
  std::int64_t lookNanos = Platform::monotonicNanos();
  while (true) {
    lookNanos += isStretch ? timeoutNanos_ / kLooksPerTimeout : timeoutNanos_;
    lookNanos = std::min(lookNanos, deadlineNanos_);
    const int result = awaitUntil(lookNanos, descriptor_, POLLOUT);
    if (result < 0) fail(errno);
    if (result > 0) return;
    const int before = std::exchange(untaken, untakenBytes());
    if (isStretch && untaken < before && !isSpent_) {
      startTime();
    } else if (lookNanos == deadlineNanos_) {
      if (!isStretch) timeOut();
      isSpent_ = true;
      fail(EAGAIN);
    }
  }
}

// How many of the bytes sent the peer has not taken yet.
int PeerSocket::untakenBytes() const {
  int count = 0;
  if (::ioctl(descriptor_, SIOCOUTQ, &count) != 0) return 0;
  return count;
}

// Returns false when the deadline has passed, at which it has looked once more.
bool PeerSocket::awaitUntilDeadline(short events) {
  isFresh_ = false;
  const int result = awaitUntil(deadlineNanos_, descriptor_, events);
  if (result < 0) fail(errno);
  return result > 0;
}

bool PeerSocket::hasInput() const {
  pollfd polled{descriptor_, POLLIN, 0};
  return ::poll(&polled, 1, 0) > 0;
}

bool PeerSocket::hasBytes() const {
  char byte = 0;
  return ::recv(descriptor_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

void PeerSocket::close() noexcept {
  if (descriptor_ < 0) return;
  connections_.closeAndRemove(descriptor_);
  descriptor_ = -1;
}

void PeerSocket::fail(int error, const std::string& address) const {
  connections_.requireUncut();
  SystemErrors::error(error, address);
  __builtin_unreachable();  // that throws whatever the number is
}

}  // namespace com::corvane::connectivity::plugins
