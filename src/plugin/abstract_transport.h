// plugin/abstract_transport.h : the base of an element at the transport's end of a chain.
//
// Role:      a Plugin that receives messages towards the transport and knows where to send those
//            towards the host.
// Threads:   none of its own locking: derived classes serialise setNextTowardsHost with sending.
// Ownership: owns its HostSide.
// Errors:    the destructor may throw what destroying the HostSide throws.
// Invariants: Plugin is the first base, and setNextTowardsHost the first virtual operation after
//            those of Plugin.
#pragma once

#include <memory>
#include <string>

#include "plugin/host_side.h"
#include "plugin/plugin.h"
#include "plugin/transport_side.h"

namespace com::corvane::connectivity10_15_0 {

class AbstractTransport : public Plugin, public TransportSide {
 public:
  using Plugin::Plugin;
  ~AbstractTransport() noexcept(false) override;

  /// Takes the HostSide out of `next` and destroys the one held before. Given the element's own
  /// holder it does nothing.
  virtual void setNextTowardsHost(std::unique_ptr<HostSide>& next);

 protected:
  std::unique_ptr<HostSide> hostSide;  // empty at first
};

}  // namespace com::corvane::connectivity10_15_0
