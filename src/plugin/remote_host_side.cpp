#include "plugin/remote_host_side.h"

namespace com::corvane::connectivity10_15_0 {

void RemoteHostSide::sendBatchTowardsHost(Message* first, Message* end) {
  // A Message is laid out as the boundary's record: the same array, seen from the other side.
  batch_(hostElement_, reinterpret_cast<kel_message*>(first), reinterpret_cast<kel_message*>(end));
}

}  // namespace com::corvane::connectivity10_15_0
