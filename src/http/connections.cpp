#include "http/connections.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

namespace com::corvane::connectivity::plugins {

using orvex::AutoMutex;

void Connections::cut() {
  AutoMutex lock(mutex_);
  cut_.store(true, std::memory_order_release);
  for (const int descriptor : descriptors_) ::shutdown(descriptor, SHUT_RDWR);
}

// Returns false, and adds nothing, once the connections have been cut.
bool Connections::add(int descriptor) {
  AutoMutex lock(mutex_);
  if (areCut()) return false;
  descriptors_.push_back(descriptor);
  return true;
}

void Connections::closeAndRemove(int descriptor) {
  AutoMutex lock(mutex_);
  std::erase(descriptors_, descriptor);
  ::close(descriptor);
}

void SessionConnection::open(int descriptor) {
  close();
  const int duplicate = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (duplicate < 0) {
    requireUncut();
    return;
  }
  duplicate_ = duplicate;
  if (!all_.add(duplicate)) {
    close();
    requireUncut();
  }
}

void SessionConnection::close() {
  if (duplicate_ < 0) return;
  all_.closeAndRemove(duplicate_);
  duplicate_ = -1;
}

void SessionConnection::requireUncut() const {
  if (isCut()) throw std::runtime_error(Connections::kCutText);
}

}  // namespace com::corvane::connectivity::plugins
