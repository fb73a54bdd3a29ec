// http/request_writer.h : writes one prepared request on a session, with its headers and its body.
//
// Role:      called once an attempt, with a fresh request each time; leaves the record able to be
//            sent again. Start reading at sendRequest.
// Threads:   one worker only.
// Errors:    Poco::Exception of the session; std::runtime_error of the character-set conversion and
//            of form metadata; com::orvex::StreamException of the compressor, or when the body
//            got lost on the way to the session; std::bad_alloc.
#pragma once

#include <Poco/Net/HTTPRequest.h>

#include <cstdint>
#include <iosfwd>
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
                                           Poco::Net::HTTPRequest& request) const;

 private:
  std::uint64_t sendBuffer(ClientSession& session, RequestDetails& details,
                           Poco::Net::HTTPRequest& request, ContentCoding coding) const;
  std::uint64_t sendForm(ClientSession& session, RequestDetails& details,
                         Poco::Net::HTTPRequest& request, ContentCoding coding) const;
  std::uint64_t sendBytes(ClientSession& session, RequestDetails& details,
                          Poco::Net::HTTPRequest& request, std::string_view body) const;
  std::ostream& sendHead(ClientSession& session, RequestDetails& details,
                         Poco::Net::HTTPRequest& request, std::uint64_t contentLength) const;
  void finish(ClientSession& session, const std::ostream& stream) const;
  void logDroppedBuffer(std::string_view body, const char* method, ContentCoding coding) const;
  void setRequestHeaders(Poco::Net::HTTPRequest& request, RequestDetails& details,
                         std::uint64_t contentLength) const;
  void setFraming(Poco::Net::HTTPRequest& request, const RequestDetails& details,
                  std::uint64_t contentLength) const;
  void trace(const Poco::Net::HTTPRequest& request, const RequestDetails& details,
             bool hasPayload) const;

  const MessageKeys& keys_;
  CookieJar& jar_;
  const ThreadLogger& logger_;
  const std::string authorization_;  // empty without basic authentication
};

}  // namespace com::corvane::connectivity::plugins
