#include "chainhost/json_text.h"

#include <simdjson.h>

#include <array>
#include <charconv>
#include <cmath>

#include "chainhost/base64.h"

namespace chainhost {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

constexpr std::array<bool, 256> makeEscaped() {
  std::array<bool, 256> escaped{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) {
    escaped[byte] = true;
  }
  escaped['"'] = escaped['\\'] = true;
  return escaped;
}

constexpr std::array<bool, 256> kEscaped = makeEscaped();

void appendEscape(std::string& out, char character) {
  switch (character) {
    case '"':
      out += "\\\"";
      return;
    case '\\':
      out += "\\\\";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
    default: {
      constexpr std::string_view digits = "0123456789abcdef";
      out += "\\u00";
      out += digits[static_cast<unsigned char>(character) >> 4];
      out += digits[character & 0xF];
    }
  }
}

bool isContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed sequence at the front of `text`, 0 when there is none.
std::size_t sequenceBytes(std::string_view text) {
  const auto at = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = at(0);
  if (lead < 0x80) {
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
    return 0;
  }
  for (std::size_t index = 1; index < length; ++index) {
    if (!isContinuation(at(index))) {
      return 0;
    }
  }
  const bool outside = (lead == 0xE0 && at(1) < 0xA0) || (lead == 0xED && at(1) > 0x9F) ||
                       (lead == 0xF0 && at(1) < 0x90) || (lead == 0xF4 && at(1) > 0x8F);
  return outside ? 0 : length;
}

std::string replaceMalformed(std::string_view text) {
  std::string mended;
  mended.reserve(text.size() + 16);
  while (!text.empty()) {
    const std::size_t length = sequenceBytes(text);
    mended += length == 0 ? kReplacement : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return mended;
}

}  // namespace

bool isUtf8(std::string_view bytes) noexcept {
  return simdjson::validate_utf8(bytes.data(), bytes.size());
}

void appendJsonText(std::string& out, std::string_view text) {
  if (isUtf8(text)) {
    appendJsonUtf8(out, text);
  } else {
    appendJsonUtf8(out, replaceMalformed(text));
  }
}

void appendJsonUtf8(std::string& out, std::string_view text) {
  out += '"';
  std::size_t written = 0;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (kEscaped[static_cast<unsigned char>(text[index])]) {
      out.append(text, written, index - written);
      appendEscape(out, text[index]);
      written = index + 1;
    }
  }
  out.append(text, written, text.size() - written);
  out += '"';
}

void appendJsonBytes(std::string& out, std::string_view bytes) {
  if (isUtf8(bytes)) {
    appendJsonUtf8(out, bytes);
  } else {
    appendJsonBase64(out, bytes);
  }
}

void appendJsonBase64(std::string& out, std::string_view bytes) {
  out += "{\"$base64\": \"";
  appendBase64(out, bytes);
  out += "\"}";
}

void appendJsonInteger(std::string& out, std::int64_t value) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  out.append(digits.data(), end);
}

void appendJsonNumber(std::string& out, double value) {
  if (std::isnan(value)) {
    out += "\"NaN\"";
    return;
  }
  if (std::isinf(value)) {
    out += value < 0 ? "\"-Infinity\"" : "\"Infinity\"";
    return;
  }
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  const std::string_view text(digits.data(), end);
  out += text;
  if (text.find_first_of(".e") == std::string_view::npos) {
    out += ".0";
  }
}

}  // namespace chainhost
