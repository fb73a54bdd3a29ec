#include "plugin/abstract_transport.h"

#include <utility>

namespace com::corvane::connectivity10_15_0 {

// Both delete plainly: a smart pointer's own deletion would end the process if it threw.

AbstractTransport::~AbstractTransport() noexcept(false) { delete hostSide.release(); }

void AbstractTransport::setNextTowardsHost(std::unique_ptr<HostSide>& next) {
  if (&next == &hostSide) return;
  const HostSide* const previous = hostSide.release();
  hostSide = std::move(next);
  delete previous;
}

}  // namespace com::corvane::connectivity10_15_0
