// http/request_details.h : everything that a worker knows of the one request it performs.
//
// Role:      request mapping fills it, execution and response mapping read it.
// Threads:   one worker only.
// Ownership: owns its values; what could be moved out of the message was moved.
// Invariants: 1) payload is a buffer or a form; 2) method and path are strings until a response
//            has taken them (answered); 3) answered is set before the response leaves, once.
#pragma once

#include <cstdint>
#include <string>

#include "http/names.h"
#include "http/text_map.h"

namespace com::corvane::connectivity::plugins {

struct RequestDetails {
  /// How many redirects of one request are followed.
  static constexpr std::int64_t kMaxRedirects = 9;

  /// Takes the fields over as they are. Throws std::runtime_error with kPayloadErrorText when the
  /// payload is neither a buffer nor a map of string keys to strings or buffers.
  RequestDetails(data_t payload, data_t requestId, data_t method, data_t path, TextMap headers,
                 TextMap queryParameters, TextMap cookies, data_t form, double startTime);

  data_t payload;
  data_t requestId;
  data_t method;
  data_t path;  // with the configured base path in front
  TextMap headers;
  TextMap queryParameters;
  TextMap cookies;  // the message's own
  data_t form;
  double startTime;     // seconds, Platform::relativeHighResTimeFloat
  std::string lastUri;  // stays empty: every redirect is judged by its own location alone
  std::int64_t redirectCount = 0;
  bool answered = false;
};

/// "HTTPClient payloads must be ..." : the refusal of a payload of another kind.
extern const char* const kPayloadErrorText;

}  // namespace com::corvane::connectivity::plugins
