// http/body_methods.h : which methods carry no body, and the line for a payload given with one.
//
// Source: a payload given for HEAD, DELETE or TRACE is not sent. GET is not one of them: a GET
// sends
//         the payload that it is given.
#pragma once

#include <string_view>

#include "http/names.h"

namespace com::corvane::connectivity::plugins {

inline bool isBodyless(std::string_view method) {
  return method == "HEAD" || method == "DELETE" || method == "TRACE";
}

inline void logIgnoredPayload(const ThreadLogger& logger, LogLevel level, const char* method) {
  logger.log(level, "Ignoring specified payload for %s request method", method);
}

}  // namespace com::corvane::connectivity::plugins
