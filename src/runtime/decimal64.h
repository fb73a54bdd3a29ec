// runtime/decimal64.h : a decimal floating-point number of 64 bits, as a bit pattern and as text.
//
// Role:       IEEE 754 decimal64 in the binary integer encoding: a sign, a coefficient of up to
//             16 decimal digits, and a power of ten from -398 to 369. Carries and shows numbers; it
//             does not calculate.
// Threads:    immutable.
// Invariants: 1) fromText(toString(x)) has the bits of x, for every x that is canonical;
//             2) no text is rounded: what cannot be kept exactly is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "runtime/export.h"

namespace com::orvex {

class OV_EXPORT decimal64 {
 public:
  /// Every pattern is a number, an infinity or a NaN.
  static constexpr decimal64 fromBits(std::uint64_t bits) { return decimal64(bits); }

  constexpr std::uint64_t bits() const { return bits_; }

  /// What toString needs at most, in bytes, the closing NUL included.
  static constexpr std::size_t kTextBytes = 25;

  /// Writes the number exactly, closed by a NUL, with every digit of its coefficient: "1.25", "-0",
  /// "1.20", "0.000001", "1E-7", "1.5E+10". The point is used alone where the power of ten is not
  /// above 0 and the first digit stands at most six places behind the point; otherwise the text has
  /// one digit before the point and an exponent, whose sign is always written. A coefficient above
  /// 16 digits is read as 0. The rest is "Infinity", "NaN" and "sNaN", with "-" before it if the
  /// sign is set; a NaN's payload follows as digits unless it is 0 ("NaN123"). Returns `buffer`,
  /// which has room for kTextBytes.
  char* toString(char* buffer) const;

  /// Reads a sign, digits with or without a point, and an exponent ("-1.25", ".5", "1E+3"), or one
  /// of the words that toString writes or "inf", in upper or lower case. Nothing else may stand in
  /// the text, blanks included.
  ///
  /// The digits as written give the coefficient and the power of ten, so that "1.20" stays apart
  /// from "1.2". Where that does not fit, the same value is taken with zeros at the end of the
  /// coefficient dropped or added, as few as do; a zero takes the nearest power of ten there is.
  /// Returns none when the text is no number, or the value has more than 16 digits between its
  /// first and its last that is not 0, or lies outside of the range; for a NaN, when the payload
  /// has more than 15 digits.
  static std::optional<decimal64> fromText(std::string_view text);

 private:
  explicit constexpr decimal64(std::uint64_t bits) : bits_(bits) {}

  std::uint64_t bits_;
};

}  // namespace com::orvex
