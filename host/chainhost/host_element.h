// chainhost/host_element.h : the transport's neighbour towards the host: takes its responses.
//
// Role:      kel_batch_function and its handle. Writes a line for each response and counts it.
// Threads:   receive: any thread, internal lock ("ChainhostElement"); the plugin sends one batch
//            at a time anyway. May block while the output is behind.
// Ownership: borrows the messages, the output and the state.
// Errors:    nothing is thrown into the plugin; RunState::fail gets the text.
#pragma once

#include <cstdint>

#include "chainhost/output_writer.h"
#include "chainhost/run_state.h"
#include "chainhost/run_summary.h"
#include "chainhost/text_buffer.h"
#include "runtime/mutex.h"

namespace chainhost {

class HostElement {
 public:
  HostElement(OutputWriter& output, RunState& state) : output_(output), state_(state) {}

  // The function for the plugin; `self` is a HostElement.
  static void receive(void* self, kel_message* first, kel_message* end) noexcept;

  // The counts of the responses so far, and the time of the last one.
  RunSummary summary() const;
  std::int64_t lastResponseNanos() const;

 private:
  void writeResponses(const kel_message* first, const kel_message* end);

  OutputWriter& output_;
  RunState& state_;

  mutable com::orvex::Mutex mutex_{"ChainhostElement"};
  RunSummary summary_ OV_GUARDED_BY(mutex_);
  TextBuffer lines_ OV_GUARDED_BY(mutex_);
  std::int64_t lastResponseNanos_ OV_GUARDED_BY(mutex_) = 0;
};

}  // namespace chainhost
