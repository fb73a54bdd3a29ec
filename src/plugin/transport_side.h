// plugin/transport_side.h : where an element receives messages towards the transport.
#pragma once

#include "model/message.h"

namespace com::corvane::connectivity10_15_0 {

class TransportSide {
 public:
  TransportSide() = default;
  virtual ~TransportSide() noexcept(false) = default;
  TransportSide(const TransportSide&) = delete;
  TransportSide& operator=(const TransportSide&) = delete;

  /// Takes [first, end). The array stays the sender's, who releases what is left in it; the
  /// receiver may move the content out of a message.
  virtual void sendBatchTowardsTransport(Message* first, Message* end) = 0;
};

}  // namespace com::corvane::connectivity10_15_0
