#include "runtime/decimal64.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace com::orvex {
namespace {

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
constexpr std::uint64_t kInfinityBits = std::uint64_t{0x78} << 56;
constexpr std::uint64_t kNanBits = std::uint64_t{0x7C} << 56;
constexpr std::uint64_t kSignalingBit = std::uint64_t{1} << 57;
constexpr std::uint64_t kSpecialMask = kNanBits;
constexpr std::uint64_t kLargeFormMask = std::uint64_t{3} << 61;

constexpr int kDigits = 16;
constexpr int kBias = 398;
constexpr int kExponentMin = -kBias;
constexpr int kExponentMax = 369;
constexpr std::uint64_t kCoefficientMax = 9'999'999'999'999'999;
constexpr int kPayloadDigits = 15;
constexpr std::uint64_t kPayloadMax = 999'999'999'999'999;
constexpr std::uint64_t kPayloadMask = (std::uint64_t{1} << 50) - 1;

struct Finite {
  std::uint64_t coefficient;
  int exponent;
};

Finite decode(std::uint64_t bits) {
  // A coefficient of up to 53 bits stands as it is; a larger one begins with binary 100, which is
  // left out, and the exponent stands two bits further down.
  const bool isLarge = (bits & kLargeFormMask) == kLargeFormMask;
  const int exponentShift = isLarge ? 51 : 53;
  const std::uint64_t low = bits & ((std::uint64_t{1} << exponentShift) - 1);
  const std::uint64_t coefficient = isLarge ? std::uint64_t{1} << 53 | low : low;
  const int exponent = static_cast<int>(bits >> exponentShift & 0x3FF) - kBias;
  return {coefficient > kCoefficientMax ? 0 : coefficient, exponent};
}

std::uint64_t encode(Finite number) {
  const auto exponent = static_cast<std::uint64_t>(number.exponent + kBias);
  constexpr std::uint64_t kLarge = std::uint64_t{1} << 53;
  if (number.coefficient < kLarge) return exponent << 53 | number.coefficient;
  return kLargeFormMask | exponent << 51 | (number.coefficient - kLarge);
}

char* append(char* out, std::string_view text) { return std::copy(text.begin(), text.end(), out); }

// Writes a whole number; the callers' buffers have room for it.
template <typename Integer>
char* appendNumber(char* out, Integer number) {
  return std::to_chars(out, out + 20, number).ptr;
}

char* appendFinite(char* out, Finite number) {
  char digitText[20];
  const std::string_view digits(
      digitText, static_cast<std::size_t>(appendNumber(digitText, number.coefficient) - digitText));
  const int count = static_cast<int>(digits.size());
  const int adjusted = number.exponent + count - 1;
  if (number.exponent <= 0 && adjusted >= -6) {
    const int before =
        count + number.exponent;  // digits before the point; below 1, zeros behind it
    if (number.exponent == 0) return append(out, digits);
    if (before > 0) {
      out = append(out, digits.substr(0, static_cast<std::size_t>(before)));
      *out++ = '.';
      return append(out, digits.substr(static_cast<std::size_t>(before)));
    }
    out = append(out, "0.");
    out = std::fill_n(out, -before, '0');
    return append(out, digits);
  }
  *out++ = digits.front();
  if (count > 1) {
    *out++ = '.';
    out = append(out, digits.substr(1));
  }
  out = append(out, adjusted < 0 ? "E" : "E+");
  return appendNumber(out, adjusted);
}

char* appendNan(char* out, std::uint64_t bits) {
  out = append(out, (bits & kSignalingBit) != 0 ? "sNaN" : "NaN");
  const std::uint64_t payload = bits & kPayloadMask;
  return payload == 0 || payload > kPayloadMax ? out : appendNumber(out, payload);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Takes the word, given in lower case, off the front of the text; false if it is not there.
bool takeWord(std::string_view& text, std::string_view word) {
  const bool isThere =
      text.size() >= word.size() && std::equal(word.begin(), word.end(), text.begin(),
                                               [](char w, char t) { return w == lower(t); });
  if (isThere) text.remove_prefix(word.size());
  return isThere;
}

bool takeNegativeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool isNegative = text.front() == '-';
  text.remove_prefix(1);
  return isNegative;
}

// Collects decimal digits. Zeros behind the last other digit are counted only, so that a
// coefficient that is too long because of them is none.
struct DigitCollector {
  std::uint64_t coefficient = 0;
  int count = 0;           // digits in the coefficient
  std::int64_t zeros = 0;  // zeros read behind them
  bool any = false;
  bool overflowed = false;

  void add(char c) {
    any = true;
    if (c == '0') {
      if (coefficient != 0) ++zeros;
      return;
    }
    if (overflowed || count + zeros + 1 > kDigits) {
      overflowed = true;
      return;
    }
    for (; zeros > 0; --zeros) pushDigit(0);
    pushDigit(static_cast<unsigned>(c - '0'));
  }

  void pushDigit(unsigned digit) {
    coefficient = coefficient * 10 + digit;
    ++count;
  }
};

// The exponent of the text, or none if it is none. Far outside of any use it stops growing, at a
// value that no number of digits in memory brings back into the range.
std::optional<std::int64_t> takeExponent(std::string_view& text) {
  if (!takeWord(text, "e")) return 0;
  constexpr std::int64_t kStop = std::int64_t{1} << 58;
  const bool isNegative = takeNegativeSign(text);
  if (text.empty()) return std::nullopt;
  std::int64_t exponent = 0;
  for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1)) {
    exponent = std::min(exponent * 10 + (text.front() - '0'), kStop);
  }
  return isNegative ? -exponent : exponent;
}

std::optional<std::uint64_t> readFinite(std::string_view text) {
  DigitCollector digits;
  std::int64_t exponent = 0;
  bool isBehindPoint = false;
  for (; !text.empty() && (isDigit(text.front()) || (text.front() == '.' && !isBehindPoint));
       text.remove_prefix(1)) {
    if (text.front() == '.') {
      isBehindPoint = true;
      continue;
    }
    digits.add(text.front());
    if (isBehindPoint) --exponent;
  }
  const std::optional<std::int64_t> written = takeExponent(text);
  if (!written || !text.empty() || !digits.any || digits.overflowed) return std::nullopt;
  exponent += *written;
  if (digits.coefficient == 0) {
    const auto nearest = std::clamp<std::int64_t>(exponent, kExponentMin, kExponentMax);
    return encode({0, static_cast<int>(nearest)});
  }
  // The written zeros first go to the exponent, then come back as far as they fit and are needed.
  exponent += digits.zeros;
  const std::int64_t lowest = std::max<std::int64_t>(exponent - digits.zeros, kExponentMin);
  while (digits.count < kDigits && (exponent > lowest || exponent > kExponentMax)) {
    digits.pushDigit(0);
    --exponent;
  }
  if (exponent < kExponentMin || exponent > kExponentMax) return std::nullopt;
  return encode({digits.coefficient, static_cast<int>(exponent)});
}

std::optional<std::uint64_t> readPayload(std::string_view text) {
  DigitCollector digits;
  for (const char c : text) {
    if (!isDigit(c)) return std::nullopt;
    digits.add(c);
  }
  if (digits.overflowed || digits.count + digits.zeros > kPayloadDigits) return std::nullopt;
  for (; digits.zeros > 0; --digits.zeros) digits.pushDigit(0);
  return digits.coefficient;
}

std::optional<std::uint64_t> readUnsigned(std::string_view text) {
  if (takeWord(text, "inf")) {
    takeWord(text, "inity");
    return text.empty() ? std::optional(kInfinityBits) : std::nullopt;
  }
  const bool isSignaling = takeWord(text, "snan");
  if (!isSignaling && !takeWord(text, "nan")) return readFinite(text);
  const std::optional<std::uint64_t> payload = readPayload(text);
  if (!payload) return std::nullopt;
  return kNanBits | (isSignaling ? kSignalingBit : 0) | *payload;
}

}  // namespace

char* decimal64::toString(char* buffer) const {
  char* out = buffer;
  if ((bits_ & kSignBit) != 0) *out++ = '-';
  if ((bits_ & kSpecialMask) == kNanBits) {
    out = appendNan(out, bits_);
  } else if ((bits_ & kSpecialMask) == kInfinityBits) {
    out = append(out, "Infinity");
  } else {
    out = appendFinite(out, decode(bits_));
  }
  *out = '\0';
  return buffer;
}

std::optional<decimal64> decimal64::fromText(std::string_view text) {
  const bool isNegative = takeNegativeSign(text);
  const std::optional<std::uint64_t> bits = readUnsigned(text);
  if (!bits) return std::nullopt;
  return decimal64(*bits | (isNegative ? kSignBit : 0));
}

}  // namespace com::orvex
