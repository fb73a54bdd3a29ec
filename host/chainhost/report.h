// chainhost/report.h : lines for people, on standard error.
//
// Threads:   any thread; a line is written in one piece and does not mix with others.
#pragma once

#include <string_view>

namespace chainhost {

// Writes "chainhost: TEXT" and a line feed.
void report(std::string_view text);

}  // namespace chainhost
