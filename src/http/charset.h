// http/charset.h : character-set conversion of header text. Start reading at convert.
//
// Role:      HTTP header names and values travel as ISO-8859-1, message metadata holds UTF-8.
// Threads:   any thread; no state.
// Ownership: a ConvertedText owns its buffer, which ov_malloc made and free() releases.
// Errors:    std::runtime_error "Failed to allocate memory"; std::runtime_error
//            "Could not convert argument from " + from + " to " + to for an unknown set name and
//            any other failure of the converter. A character without a counterpart is no error: it
//            becomes the substitution byte of the target set (0x1A in ISO-8859-1).
// Invariants: 1) a result is NUL-terminated; 2) input is read up to its NUL.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace com::corvane::connectivity::plugins::charset {

struct FreeText {
  void operator()(char* text) const noexcept { std::free(text); }
};
using ConvertedText = std::unique_ptr<char, FreeText>;

/// Converts `text` with ICU's one-shot converter into a buffer of `capacityBytes` bytes, the
/// terminator included. A result that leaves no room for the terminator is an ICU warning only:
/// choose a capacity with room to spare. REQUIRES: capacityBytes fits in 31 bits.
ConvertedText convert(const char* text, const char* from, const char* to,
                      std::size_t capacityBytes);

/// From any set that ICU knows, by its name, to UTF-8.
ConvertedText toUtf8(const char* text, const char* from);

/// The same result as ICU's for "iso8859-1" to "UTF-8", without asking ICU: each byte above 0x7F
/// becomes two.
ConvertedText latin1ToUtf8(const char* text);

/// The same result as ICU's for "UTF-8" to "iso8859-1"; ICU is asked only when a byte is above
/// 0x7F.
ConvertedText utf8ToLatin1(const char* text);

}  // namespace com::corvane::connectivity::plugins::charset
