// plugin/log_format.h : printf-like formats that the compiler checks against their arguments.
//
// The host formats the lines, with conversions of its own: %s, %d and %I32d, %I64d, %I64u. No
// compiler knows these, so that the check stands here. A format is a literal: composed text goes
// through "%s" and can therefore never be taken for a format.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace com::corvane::connectivity10_15_0 {

/// How a value travels to the host.
enum class LogValue { Text, Signed32, Signed64, Unsigned64, Unsupported };

/// The kind that values of a type travel as. Signed integers of less than 32 bits are widened.
template <typename T>
consteval LogValue logValueOf() {
  using Value = std::decay_t<T>;
  if (std::is_same_v<Value, std::string> || std::is_same_v<Value, const char*> ||
      std::is_same_v<Value, char*>) {
    return LogValue::Text;
  }
  if (!std::is_integral_v<Value> || std::is_same_v<Value, char> || std::is_same_v<Value, wchar_t>) {
    return LogValue::Unsupported;
  }
  if (std::is_signed_v<Value>) {
    return sizeof(Value) == sizeof(std::int64_t) ? LogValue::Signed64 : LogValue::Signed32;
  }
  const bool wide =
      std::is_same_v<Value, unsigned long> || std::is_same_v<Value, unsigned long long>;
  return wide ? LogValue::Unsigned64 : LogValue::Unsupported;
}

/// Removes the conversion that `rest` begins with, its "%" already gone, and tells what it takes:
/// Unsupported for a conversion that the host does not know.
constexpr LogValue takeLogConversion(std::string_view& rest) {
  struct Conversion {
    std::string_view text;
    LogValue value;
  };
  constexpr std::array kConversions = {
      Conversion{"s", LogValue::Text}, Conversion{"d", LogValue::Signed32},
      Conversion{"I32d", LogValue::Signed32}, Conversion{"I64d", LogValue::Signed64},
      Conversion{"I64u", LogValue::Unsigned64}};
  for (const Conversion& conversion : kConversions) {
    if (rest.starts_with(conversion.text)) {
      rest.remove_prefix(conversion.text.size());
      return conversion.value;
    }
  }
  return LogValue::Unsupported;
}

/// Whether a format has exactly one fitting conversion for each of the argument types, in order.
/// "%%" stands for a per cent sign.
template <typename... Args>
constexpr bool logFormatFits(std::string_view format) {
  constexpr std::array<LogValue, sizeof...(Args) + 1> kValues = {logValueOf<Args>()...,
                                                                 LogValue::Unsupported};
  std::size_t used = 0;
  for (auto at = format.find('%'); at != format.npos; at = format.find('%')) {
    format.remove_prefix(at + 1);
    if (format.starts_with('%')) {
      format.remove_prefix(1);
      continue;
    }
    const LogValue wanted = takeLogConversion(format);
    if (wanted == LogValue::Unsupported || used == sizeof...(Args) || kValues[used] != wanted) {
      return false;
    }
    ++used;
  }
  return used == sizeof...(Args);
}

/// A call of this one in an error message of the compiler: a log format and its arguments differ.
void logFormatDoesNotFitItsArguments();

/// The longest format; a longer one does not compile. What it is filled with has no limit.
inline constexpr std::size_t kLogFormatBytesMax = 255;

template <typename... Args>
class BasicLogFormat {
 public:
  template <std::size_t bytes>
  consteval BasicLogFormat(const char (&text)[bytes])  // NOLINT(google-explicit-constructor)
      : text_(text, bytes - 1) {
    static_assert(bytes - 1 <= kLogFormatBytesMax);
    if (!logFormatFits<Args...>(std::string_view(text, bytes - 1))) {
      logFormatDoesNotFitItsArguments();
    }
  }

  constexpr std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

/// The parameter type of a function that takes a format and its arguments.
template <typename... Args>
using LogFormat = BasicLogFormat<std::type_identity_t<Args>...>;

/// The format of a whole line, for one call of the host. It needs no memory but its own: a line
/// that tells of memory that ran out can always be written.
class LineFormat {
 public:
  static constexpr std::size_t kPrefixBytesMax = 16;

  /// REQUIRES: at most kPrefixBytesMax and kLogFormatBytesMax bytes.
  LineFormat(std::string_view prefix, std::string_view format) noexcept {
    std::memcpy(text_, prefix.data(), prefix.size());
    std::memcpy(text_ + prefix.size(), format.data(), format.size());
    text_[prefix.size() + format.size()] = '\0';
  }

  const char* text() const noexcept { return text_; }

 private:
  char text_[kPrefixBytesMax + kLogFormatBytesMax + 1];  // only what is used is ever written
};

/// A value as it is handed to a variadic function of the host.
inline const char* logArgument(const std::string& text) noexcept { return text.c_str(); }
inline const char* logArgument(const char* text) noexcept { return text; }
template <std::signed_integral T>
constexpr auto logArgument(T value) noexcept {
  return static_cast<
      std::conditional_t<sizeof(T) == sizeof(std::int64_t), std::int64_t, std::int32_t>>(value);
}
template <std::unsigned_integral T>
constexpr std::uint64_t logArgument(T value) noexcept {
  return value;
}

}  // namespace com::corvane::connectivity10_15_0
