#include "http/connections.h"

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

void Connections::requireUncut() const {
  if (areCut()) throw std::runtime_error(kCutText);
}

void Connections::add(int descriptor) {
  AutoMutex lock(mutex_);
  requireUncut();
  descriptors_.push_back(descriptor);
}

void Connections::closeAndRemove(int descriptor) noexcept {
  AutoMutex lock(mutex_);
  std::erase(descriptors_, descriptor);
  ::close(descriptor);
}

}  // namespace com::corvane::connectivity::plugins
