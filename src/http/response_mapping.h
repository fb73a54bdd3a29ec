// http/response_mapping.h : builds response messages. The one writer of their format.
//
// Threads:   one worker only.
// Ownership: the message returned is the caller's. Request id, method and path are moved out of
//            the record into it, after everything that can fail.
// Errors:    std::runtime_error of the character-set conversion; std::bad_alloc. The record is then
//            unchanged. address does not fail.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "http/cookie_jar.h"
#include "http/message_keys.h"
#include "http/names.h"
#include "http/request_details.h"
#include "http/response_head.h"

namespace com::corvane::connectivity::plugins {

class ResponseMapping {
 public:
  /// The status of every failure response.
  static constexpr std::int64_t kFailureStatus = 400;

  /// Borrows all of them.
  ResponseMapping(const MessageKeys& keys, CookieJar& jar, const ThreadLogger& logger)
      : keys_(keys), jar_(jar), logger_(logger) {}

  /// The message for a response of the server, with `body` as its payload. The jar takes over the
  /// cookies of the response.
  Message map(const ResponseHead& head, buffer_t body, RequestDetails& details);

  /// The message for a request that got no response: status 400, the text as reason and payload.
  /// It is still to be addressed.
  Message mapFailure(const char* text) const;

  /// Moves the values into a message of mapFailure. An empty method or path, one that was never
  /// read, stands there as an empty text.
  void address(Message& failure, data_t&& requestId, data_t&& method, data_t&& path) const noexcept;

 private:
  // A media type as responses have it, and what their messages say of it.
  struct ContentType {
    std::string header;
    std::string type;
    std::string charset;
    bool hasCharset = false;
  };

  map_t readHeaders(const ResponseHead& head, std::set<std::string>& duplicates) const;
  void dropDuplicates(map_t& headers, const std::set<std::string>& duplicates) const;
  map_t takeCookies(const ResponseHead& head) const;
  void setContentType(map_t& metadata, const ResponseHead& head);
  void trace(const ResponseHead& head, const data_t& body) const;

  const MessageKeys& keys_;
  CookieJar& jar_;
  const ThreadLogger& logger_;
  ContentType contentType_;  // of the latest response that had one: most are alike
};

}  // namespace com::corvane::connectivity::plugins
