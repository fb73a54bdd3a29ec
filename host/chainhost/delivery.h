// chainhost/delivery.h : the delivering thread: input lines in, batches of messages out.
//
// Role:      reads lines, turns them into messages and sends them to the transport. A batch is
//            what one read brought, at most kBatchMessagesMax messages, so nothing at hand waits
//            for input that has yet to come. A line that is no message is answered on the output
//            at once. Back-pressure is the transport's: while it has no room, its call blocks and
//            nothing is read. When told to stop it reads no more, but delivers the whole lines
//            that it has read; an unfinished one is dropped with a notice.
// Threads:   owner: construction, start, stop. The rest is the thread's own.
// Errors:    end the reading; RunState::endReading gets "cannot read NAME: REASON",
//            "the transport's sendBatchTowardsTransport failed" (each message that it did not take
//            is answered with the error line "the transport did not take the message") or
//            "reading ended: REASON".
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "chainhost/line_reader.h"
#include "chainhost/message_line.h"
#include "chainhost/output_writer.h"
#include "chainhost/plugin_library.h"
#include "chainhost/run_state.h"
#include "chainhost/text_buffer.h"
#include "runtime/thread.h"

namespace chainhost {

class Delivery : public com::orvex::Thread {
 public:
  static constexpr std::size_t kBatchMessagesMax = 256;

  // Borrows everything. `inputName` is for texts.
  Delivery(int inputFd, std::string inputName, Plugin& plugin, OutputWriter& output,
           RunState& state);

  int run() override;

 private:
  void deliverInput();
  bool waitForInput() const;
  void deliverLines();
  void addLine(std::string_view line);
  void sendBatch();
  void takeBackBatch();
  void refuse(std::string_view reason, std::uint64_t lineNumber);

  const int inputFd_;
  const std::string inputName_;
  Plugin& plugin_;
  OutputWriter& output_;
  RunState& state_;

  LineReader reader_;
  MessageParser parser_;
  Batch batch_;
  std::vector<std::uint64_t> batchLines_;  // the line number of each message of the batch
  TextBuffer errorLine_;
  std::uint64_t lineNumber_ = 0;
};

}  // namespace chainhost
