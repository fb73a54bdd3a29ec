// http/ascii.h : letter case and blanks of protocol text, on ASCII tables whatever the locale.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace com::corvane::connectivity::plugins::ascii {

/// The lower-case form of A to Z, every other byte as it is.
constexpr char toLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

/// Blank, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

inline void lower(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), toLower);
}

inline std::string lowered(std::string_view text) {
  std::string result(text);
  lower(result);
  return result;
}

inline bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return toLower(a) == toLower(b); });
}

/// True when every byte is 1 to 127: text that reads the same in ISO-8859-1 and in UTF-8.
inline bool isPlain(std::string_view text) {
  // Eight bytes at a time. Of a word whose high bits are all clear, a byte is 0 if taking 1 from
  // each sets its high bit; a borrow from below can only come from one that is.
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  constexpr std::uint64_t kHighBits = kOnes << 7;
  while (text.size() >= sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), sizeof(word));
    if (((word | (word - kOnes)) & kHighBits) != 0) return false;
    text.remove_prefix(sizeof(word));
  }
  return std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

/// The text without blanks and tabs at its ends.
constexpr std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

}  // namespace com::corvane::connectivity::plugins::ascii
