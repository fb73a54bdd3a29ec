// http/request_mapping.h : turns a request message into the record that a worker performs.
//
// Role:      the one reader of the request message format. Start reading at RequestMapping::map.
// Threads:   one worker only; what it reads of the transport is immutable.
// Ownership: moves what it can out of the message; what only borrows its text is copied.
// Errors:    std::runtime_error "Invalid HTTP header name: \"...\"" for one that is empty or has
//            blanks, control characters or colons, quoted up to the first of them; "No request
//            Id", "No method", "http.method must be a string", "No path", "http.path must be a
//            string", kPayloadErrorText, and the typed-access texts for a value of another kind.
//            After a failure takeRequestId gives the request's id as far as it was read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "config/settings.h"
#include "http/message_keys.h"
#include "http/request_details.h"

namespace com::corvane::connectivity::plugins {

class RequestMapping {
 public:
  /// Borrows the keys, the settings and the logger.
  RequestMapping(const MessageKeys& keys, const Settings& settings, const ThreadLogger& logger)
      : keys_(keys), settings_(settings), logger_(logger) {}

  /// Reads the message, whose content is used up also when this throws. `startTime` is when the
  /// worker began with it, in seconds of Platform::relativeHighResTimeFloat.
  RequestDetails map(Message& message, double startTime);

  /// The request id that a failed map had read; empty when it failed before.
  data_t takeRequestId() { return std::move(requestId_); }

 private:
  TextMap readHeaders(map_t& http, std::vector<std::string>& duplicates) const;
  TextMap readTexts(map_t& http, const MapKey& key, bool clean) const;
  void addContentHeaders(map_t& metadata, const data_t& payload, TextMap& headers) const;
  data_t fullPath(data_t& path) const;

  const MessageKeys& keys_;
  const Settings& settings_;
  const ThreadLogger& logger_;
  data_t requestId_;
};

/// The text of a header or query name or value: that of a string, boolean, integer or double; any
/// other kind raises the typed-access error as if a string had been asked for.
std::string textOf(const data_t& value);

/// `text` without its line feeds and carriage returns.
std::string withoutLineBreaks(std::string text);

}  // namespace com::corvane::connectivity::plugins
