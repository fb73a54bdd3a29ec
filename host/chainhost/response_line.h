// chainhost/response_line.h : turns one message from the transport into one line of the output.
//
// Role:      {"payload": ..., "metadata": {...}}, members of maps in slot order. A payload buffer
//            that is UTF-8 is written as a text, any other buffer as {"$base64": "..."}; a
//            decimal as {"$decimal": "..."}; numbers and texts as chainhost/json_text.h says; a
//            custom value as its host text; an unknown kind as null. A map key that is no text is
//            written as its host text.
// Threads:   any thread for different outputs. Borrows the message.
#pragma once

#include <cstdint>
#include <string_view>

#include "chainhost/host_values.h"
#include "chainhost/text_buffer.h"

namespace chainhost {

// Appends the line of a message, line feed included.
void appendResponseLine(TextBuffer& out, const kel_message& message);

// Appends {"error": "TEXT", "line": N} and a line feed: the answer to an input line that is no
// message, or that the transport did not take.
void appendErrorLine(TextBuffer& out, std::string_view text, std::uint64_t lineNumber);

}  // namespace chainhost
