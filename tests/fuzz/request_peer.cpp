#include "fuzz/request_peer.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <optional>
#include <utility>

#include "fuzz/fuzz_check.h"

namespace fuzz {

RequestPeer::RequestPeer(Answer answer)
    : answer_(std::move(answer)), peer_([this](int connection) { serve(connection); }) {}

void RequestPeer::serve(int connection) {
  {
    const std::lock_guard lock(mutex_);
    connection_ = connection;
    bytes_.clear();
  }
  pollfd readable{connection, POLLIN, 0};
  while (::poll(&readable, 1, -1) == 1 && readSome(connection)) {
  }
  const std::lock_guard lock(mutex_);
  connection_ = -1;
}

// Reading, and noting what was read, is one step: whoever holds the lock misses nothing in between.
bool RequestPeer::readSome(int connection) {
  const std::lock_guard lock(mutex_);
  char piece[16 * 1024];
  const ssize_t count = ::recv(connection, piece, sizeof(piece), MSG_DONTWAIT);
  if (count <= 0) return false;
  bytes_.append(piece, static_cast<std::size_t>(count));
  try {
    while (auto request = takeRequest(bytes_)) {
      sendAll(connection, answer_(requests_.size()));
      requests_.push_back(std::move(*request));
    }
  } catch (const NoRequest& failure) {
    fault_ = failure.why + ": " + shown(bytes_);
    return false;
  }
  return true;
}

std::vector<WireRequest> RequestPeer::take() {
  const std::lock_guard lock(mutex_);
  int unread = 0;
  if (connection_ >= 0) ::ioctl(connection_, FIONREAD, &unread);
  if (!fault_.empty()) fail(fault_);
  if (unread > 0 || !bytes_.empty()) fail("bytes behind the request: " + shown(bytes_));
  return std::exchange(requests_, {});
}

}  // namespace fuzz
