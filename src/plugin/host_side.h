// plugin/host_side.h : where an element sends its messages towards the host.
#pragma once

#include "model/message.h"

namespace com::corvane::connectivity10_15_0 {

class HostSide {
 public:
  HostSide() = default;
  virtual ~HostSide() noexcept(false) = default;
  HostSide(const HostSide&) = delete;
  HostSide& operator=(const HostSide&) = delete;

  /// Delivers [first, end). The array stays the sender's, who releases what is left in it; the
  /// receiver may move the content out of a message.
  virtual void sendBatchTowardsHost(Message* first, Message* end) = 0;
};

}  // namespace com::corvane::connectivity10_15_0
