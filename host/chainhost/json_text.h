// chainhost/json_text.h : writes JSON texts and numbers, always as valid UTF-8.
#pragma once

#include <cstdint>
#include <string_view>

#include "chainhost/text_buffer.h"

namespace chainhost {

// True when the bytes are well-formed UTF-8.
bool isUtf8(std::string_view bytes) noexcept;

// Appends the quoted text. Quotation mark, backslash and control characters are escaped; each
// byte that does not belong to well-formed UTF-8 becomes U+FFFD.
void appendJsonText(TextBuffer& out, std::string_view text);

// Appends a quoted text that is known to be well-formed UTF-8.
void appendJsonUtf8(TextBuffer& out, std::string_view text);

// Appends bytes as a text when they are UTF-8, else as {"$base64": "..."}.
void appendJsonBytes(TextBuffer& out, std::string_view bytes);

// Appends {"$base64": "..."}.
void appendJsonBase64(TextBuffer& out, std::string_view bytes);

void appendJsonInteger(TextBuffer& out, std::int64_t value);

// Appends the shortest number that reads back as the same double and not as an integer ("1.0").
// JSON has no number for the rest: they become the texts "NaN", "Infinity" and "-Infinity".
void appendJsonNumber(TextBuffer& out, double value);

}  // namespace chainhost
