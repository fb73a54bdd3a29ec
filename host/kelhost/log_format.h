// kelhost/log_format.h : formats as plugins write them, as the C library reads
// them.
//
// Threads: any thread; no state.
#pragma once

#include <cstdarg>
#include <optional>
#include <string>

namespace kelhost {

/// The format with %I32d, %I64d and %I64u written for printf (which reads "I"
/// as a flag and the digits as a width). Nothing when it has a conversion other
/// than those, %s, %d and %%.
std::optional<std::string> translateFormat(const char* format);

/// The text that format and values make; the format itself when it cannot be
/// translated.
std::string formatLine(const char* format, std::va_list values);

}  // namespace kelhost
