// chainhost/json_text.h : writes JSON texts and numbers, always as valid UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace chainhost {

// True when the bytes are well-formed UTF-8.
bool isUtf8(std::string_view bytes) noexcept;

// Appends the quoted text. Quotation mark, backslash and control characters are escaped; each
// byte that does not belong to well-formed UTF-8 becomes U+FFFD.
void appendJsonText(std::string& out, std::string_view text);

// Appends a quoted text that is known to be well-formed UTF-8.
void appendJsonUtf8(std::string& out, std::string_view text);

// Appends bytes as a text when they are UTF-8, else as {"$base64": "..."}.
void appendJsonBytes(std::string& out, std::string_view bytes);

// Appends {"$base64": "..."}.
void appendJsonBase64(std::string& out, std::string_view bytes);

void appendJsonInteger(std::string& out, std::int64_t value);

// Appends the shortest number that reads back as the same double and not as an integer ("1.0").
// JSON has no number for the rest: they become the texts "NaN", "Infinity" and "-Infinity".
void appendJsonNumber(std::string& out, double value);

}  // namespace chainhost
