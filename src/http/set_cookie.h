// http/set_cookie.h : one cookie as a Set-Cookie header field describes it.
//
// Threads: any thread; no state.
// Source:  RFC 6265, sections 4.1 and 5.2.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace com::corvane::connectivity::plugins {

struct SetCookie {
  std::string name;
  std::string value;
  std::string path;        // empty when none was given
  int maxAgeSeconds = -1;  // -1: as long as the session; 0 and less than -1: delete it

  bool isSession() const { return maxAgeSeconds == -1; }
  bool isDeletion() const { return maxAgeSeconds == 0 || maxAgeSeconds < -1; }

  /// Reads a field value. Nothing when it is no cookie or when a lifetime in it cannot be read.
  /// Quotation marks and backslashes that quote are no part of a value. Names of attributes are
  /// read without regard to case, unknown ones passed over; of several paths and of several
  /// lifetimes, Max-Age and Expires alike, the last counts. A lifetime beyond 2^31 - 1 s counts as
  /// that; an Expires in the past is a deletion.
  static std::optional<SetCookie> parse(std::string_view field);
};

}  // namespace com::corvane::connectivity::plugins
