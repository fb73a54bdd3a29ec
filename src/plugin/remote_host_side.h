// plugin/remote_host_side.h : the host's own element, reached through its plain batch function.
//
// Threads:   as the host's function: one call at a time.
// Ownership: handle and function are the host's.
// Errors:    a failure of the host's function is not examined.
#pragma once

#include "kel/plugin.h"
#include "plugin/host_side.h"

namespace com::corvane::connectivity10_15_0 {

class RemoteHostSide final : public HostSide {
 public:
  RemoteHostSide(void* hostElement, kel_batch_function batch)
      : hostElement_(hostElement), batch_(batch) {}

  void sendBatchTowardsHost(Message* first, Message* end) override;

 private:
  void* const hostElement_;
  const kel_batch_function batch_;
};

}  // namespace com::corvane::connectivity10_15_0
