// http/request_writer.h : writes one prepared request on a session, with its headers and its body.
//
// Role:      called once an attempt, with a fresh request each time; leaves the record able to be
//            sent again. Start reading at sendRequest.
// Threads:   one worker only.
// Errors:    Poco::Exception of the session; std::runtime_error of the character-set conversion.
#pragma once

#include <Poco/Net/HTTPRequest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "config/settings.h"
#include "http/client_session.h"
#include "http/cookie_jar.h"
#include "http/names.h"
#include "http/request_details.h"

namespace com::corvane::connectivity::plugins {

class RequestWriter {
 public:
  /// The failure text for a content coding that is not known.
  static constexpr char kUnsupportedCoding[] =
      "Unsupported Content-Encoding, dropping HTTP request.";

  /// Borrows jar and logger.
  RequestWriter(const Settings& settings, bool basicAuthentication, CookieJar& jar,
                const ThreadLogger& logger);

  /// Sends head and body. Returns the number of body bytes sent, or nothing when the record asks
  /// for a content coding that is not known: then nothing was sent, and ERROR was logged.
  std::optional<std::uint64_t> sendRequest(ClientSession& session, RequestDetails& details,
                                           Poco::Net::HTTPRequest& request) const;

 private:
  std::string_view bodyOf(const RequestDetails& details) const;
  void setRequestHeaders(Poco::Net::HTTPRequest& request, RequestDetails& details,
                         std::uint64_t contentLength) const;
  void setFraming(Poco::Net::HTTPRequest& request, const RequestDetails& details,
                  std::uint64_t contentLength) const;
  void trace(const Poco::Net::HTTPRequest& request, const RequestDetails& details,
             bool hasPayload) const;

  CookieJar& jar_;
  const ThreadLogger& logger_;
  const std::string authorization_;  // empty without basic authentication
};

/// HEAD, DELETE and TRACE: a payload given for these methods is not sent.
bool isBodyless(std::string_view method);

}  // namespace com::corvane::connectivity::plugins
