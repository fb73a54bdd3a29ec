// chainhost/quotes.h : a text in quotes, as refusals show what they refuse.
//
// Threads:   any; no state.
// Errors:    std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace chainhost {

inline std::string inQuotes(std::string_view text) { return '"' + std::string(text) + '"'; }

}  // namespace chainhost
