// http/request_writer.h : writes one prepared request on a session, with its headers and its body.
//
// Role:      called once an attempt; leaves the record able to be sent again. Start reading at
//            sendRequest.
// Threads:   one worker only.
// Ownership: the head and the bytes of a request live in memory that is used again for the next.
// Errors:    Poco::Exception of the session; std::runtime_error of the character-set conversion and
//            of form metadata; com::orvex::StreamException of the compressor, or when the body
//            got lost on the way to the session; std::bad_alloc.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "http/client_session.h"
#include "http/content_coding.h"
#include "http/cookie_jar.h"
#include "http/message_keys.h"
#include "http/names.h"
#include "http/request_details.h"
#include "http/request_head.h"

namespace com::corvane::connectivity::plugins {

class RequestWriter {
 public:
  /// The failure text for a content coding that is not known.
  static constexpr char kUnsupportedCoding[] =
      "Unsupported Content-Encoding, dropping HTTP request.";

  /// Borrows keys, jar and logger.
  RequestWriter(const Settings& settings, bool basicAuthentication, const MessageKeys& keys,
                CookieJar& jar, const ThreadLogger& logger);

  /// Sends head and body. Returns the number of body bytes sent, or nothing when the record asks
  /// for a content coding that is not known: then nothing was sent, and ERROR was logged.
  std::optional<std::uint64_t> sendRequest(ClientSession& session, RequestDetails& details,
                                           std::string_view target);

 private:
  std::uint64_t sendBuffer(ClientSession& session, RequestDetails& details, ContentCoding coding);
  std::uint64_t sendForm(ClientSession& session, RequestDetails& details, ContentCoding coding);
  std::uint64_t sendBytes(ClientSession& session, RequestDetails& details, std::string_view body);
  bool writeHead(ClientSession& session, RequestDetails& details, std::uint64_t contentLength);
  void logDroppedBuffer(std::string_view body, const char* method, ContentCoding coding) const;
  void addFields(const RequestDetails& details);
  void addField(std::string_view name, std::string_view value);
  void addCookies(const RequestDetails& details);
  bool addFraming(const RequestDetails& details, std::uint64_t contentLength);
  void trace(const RequestDetails& details, bool hasPayload) const;

  const MessageKeys& keys_;
  CookieJar& jar_;
  const ThreadLogger& logger_;
  const std::string authorization_;  // empty without basic authentication
  RequestHead head_;
  std::string bytes_;
};

}  // namespace com::corvane::connectivity::plugins
