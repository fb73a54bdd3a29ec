// chainhost/base64.h : the base64 text of bytes (RFC 4648, section 4).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "chainhost/text_buffer.h"

namespace chainhost {

// Appends the padded text of `bytes` to `out`.
void appendBase64(TextBuffer& out, std::string_view bytes);

// The bytes of a text, or nothing unless it is exactly what an encoder writes: no blanks or line
// ends, padded to a multiple of four characters, unused bits zero.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace chainhost
