// chainhost/message_line.h : turns one line of the input into one message.
//
// Role:      a line is {"payload": ..., "metadata": {...}}, both members optional. "metadata"
//            becomes the metadata map, values as chainhost/json_value.h says. "payload": a text
//            becomes a buffer of its UTF-8 bytes; a missing one an empty buffer; anything else
//            the value of its kind (an object a map: a form; null "empty"), for the transport to
//            accept or to refuse.
// Threads:   one thread only (the delivering one).
// Errors:    JsonError: "the line is blank", "invalid JSON: ...", "the line is no JSON object",
//            "unknown member "NAME" (a message has "payload" and "metadata")",
//            "the member "NAME" occurs twice", ""metadata" must be an object", and those of
//            toValue, whose paths begin with "payload" or "metadata".
#pragma once

#include <string_view>
#include <vector>

#include "chainhost/json_value.h"

namespace chainhost {

// Messages on their way to the transport, in the contiguous layout of the boundary. Owns them.
class Batch {
 public:
  Batch() = default;
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;
  ~Batch() { clear(); }

  void append(Value payload, Map metadata) {
    messages_.push_back(kel_message{});
    messages_.back() = kel_message{payload.release(), metadata.release()};
  }
  // Releases whatever is left in the messages and forgets them.
  void clear() noexcept {
    for (kel_message& message : messages_) {
      releaseMessage(message);
    }
    messages_.clear();
  }

  std::size_t size() const noexcept { return messages_.size(); }
  bool empty() const noexcept { return messages_.empty(); }
  kel_message* begin() noexcept { return messages_.data(); }
  kel_message* end() noexcept { return messages_.data() + messages_.size(); }

 private:
  std::vector<kel_message> messages_;
};

class MessageParser {
 public:
  // Appends the message of a line (without its line end; a CR may stand there) to `batch`, or
  // throws and leaves the batch as it was. JsonParser::kPaddingBytes readable bytes follow it.
  void parse(std::string_view line, Batch& batch);

 private:
  JsonParser parser_;
};

}  // namespace chainhost
