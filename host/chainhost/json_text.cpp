#include "chainhost/json_text.h"

#include <emmintrin.h>
#include <simdjson.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

#include "chainhost/base64.h"

namespace chainhost {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// Which bytes a search stops at: those that JSON wants escaped, and at will those of longer UTF-8
// sequences.
enum class Stop { AtEscaped, AtEscapedAndHigh };

constexpr bool isEscaped(unsigned char byte) { return byte < 0x20 || byte == '"' || byte == '\\'; }

template <Stop stop>
constexpr std::array<bool, 256> makeStops() {
  std::array<bool, 256> stops{};
  for (std::size_t byte = 0; byte < stops.size(); ++byte) {
    stops[byte] = isEscaped(static_cast<unsigned char>(byte)) ||
                  (stop == Stop::AtEscapedAndHigh && byte >= 0x80);
  }
  return stops;
}

template <Stop stop>
constexpr std::array<bool, 256> kStops = makeStops<stop>();

constexpr std::size_t kBlockBytes = sizeof(__m128i);

// Bit i tells whether the search stops at byte i of the block.
template <Stop stop>
unsigned stopsInBlock(const char* bytes) {
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i isControl = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(0x1F)), block);
  const __m128i isQuote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
  const __m128i isBackslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
  __m128i stops = _mm_or_si128(isControl, _mm_or_si128(isQuote, isBackslash));
  if (stop == Stop::AtEscapedAndHigh) {
    stops = _mm_or_si128(stops, block);  // the highest bit of each byte counts
  }
  return static_cast<unsigned>(_mm_movemask_epi8(stops));
}

// Where a search from `index` on stops; the text's size when nowhere.
template <Stop stop>
std::size_t findStop(std::string_view text, std::size_t index) {
  for (; text.size() - index >= kBlockBytes; index += kBlockBytes) {
    const unsigned stops = stopsInBlock<stop>(text.data() + index);
    if (stops != 0) {
      return index + static_cast<std::size_t>(std::countr_zero(stops));
    }
  }
  while (index < text.size() && !kStops<stop>[static_cast<unsigned char>(text[index])]) {
    ++index;
  }
  return index;
}

// Appends the quoted text if it is ASCII without anything that is escaped, as nearly all texts are:
// looks at it and copies it in one go. False: nothing has been appended.
bool appendPlain(TextBuffer& out, std::string_view text) {
  constexpr std::size_t kMuchRoom = 64 * 1024;  // not to be made in vain
  if (text.size() > kMuchRoom && findStop<Stop::AtEscapedAndHigh>(text, 0) != text.size()) {
    return false;
  }
  char* const quoted = out.room(text.size() + 2);
  char* const copy = quoted + 1;
  std::size_t index = 0;
  for (; text.size() - index >= kBlockBytes; index += kBlockBytes) {
    if (stopsInBlock<Stop::AtEscapedAndHigh>(text.data() + index) != 0) {
      return false;
    }
    std::memcpy(copy + index, text.data() + index, kBlockBytes);
  }
  for (; index < text.size(); ++index) {
    if (kStops<Stop::AtEscapedAndHigh>[static_cast<unsigned char>(text[index])]) {
      return false;
    }
    copy[index] = text[index];
  }
  quoted[0] = copy[index] = '"';
  out.take(text.size() + 2);
  return true;
}

void appendEscape(TextBuffer& out, char character) {
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

void appendJsonText(TextBuffer& out, std::string_view text) {
  if (appendPlain(out, text)) {
    return;
  }
  if (isUtf8(text)) {
    appendJsonUtf8(out, text);
  } else {
    appendJsonUtf8(out, replaceMalformed(text));
  }
}

void appendJsonUtf8(TextBuffer& out, std::string_view text) {
  out += '"';
  std::size_t written = 0;
  for (;;) {
    const std::size_t index = findStop<Stop::AtEscaped>(text, written);
    out += text.substr(written, index - written);
    if (index == text.size()) {
      break;
    }
    appendEscape(out, text[index]);
    written = index + 1;
  }
  out += '"';
}

void appendJsonBytes(TextBuffer& out, std::string_view bytes) {
  if (appendPlain(out, bytes)) {
    return;
  }
  if (isUtf8(bytes)) {
    appendJsonUtf8(out, bytes);
  } else {
    appendJsonBase64(out, bytes);
  }
}

void appendJsonBase64(TextBuffer& out, std::string_view bytes) {
  out += "{\"$base64\": \"";
  appendBase64(out, bytes);
  out += "\"}";
}

void appendJsonInteger(TextBuffer& out, std::int64_t value) {
  constexpr std::size_t kDigitsMax = 20;
  char* const digits = out.room(kDigitsMax);
  out.take(
      static_cast<std::size_t>(std::to_chars(digits, digits + kDigitsMax, value).ptr - digits));
}

void appendJsonNumber(TextBuffer& out, double value) {
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
