// http/redirects.h : decides where a redirect leads, and turns the record towards it.
//
// Role:      the exchange asks whether a status is to be followed, then has the record re-targeted
//            and performs it again. Only the configured server may be the target.
// Threads:   one worker only.
// Ownership: borrows settings and logger.
// Errors:    retarget throws Poco::SyntaxException for a location that is no URI, and the
//            typed-access text for a request id that is no integer.
// Limits:    RequestDetails::kMaxRedirects redirects a request.
#pragma once

#include <Poco/URI.h>

#include <cstdint>
#include <optional>
#include <string>

#include "config/settings.h"
#include "http/names.h"
#include "http/request_details.h"
#include "http/response_head.h"

namespace com::corvane::connectivity::plugins {

class Redirects {
 public:
  Redirects(const Settings& settings, const ThreadLogger& logger)
      : settings_(settings), logger_(logger) {}

  /// True for 301, 302, 303, 307 and 308 when redirects are to be followed.
  bool follows(int status) const;

  /// Makes the record describe the request that the answer asks for, and returns nothing; or
  /// returns why the redirect is not followed, logged at ERROR:
  ///   "Maximum redirects exceeded" (not logged)
  ///   "Ignored HTTP redirect: No location header specified in redirect for Id <id> ,status <n>"
  ///   "Ignored HTTP redirect: Id <id>, status <n>, it redirects to different schema, from <scheme>
  ///    to <scheme> and LocationURI <uri>"
  ///   "Ignored HTTP redirect: Id <id>, status <n>, it redirects to different host/port, from host
  ///    <host> to <host> or port <port> to <port>"
  std::optional<std::string> retarget(const ResponseHead& head, RequestDetails& details) const;

 private:
  bool leavesServer(const Poco::URI& target) const;
  std::string refuse(const std::string& reason) const;
  void turn(RequestDetails& details, const Poco::URI& target, const std::string& text,
            int status) const;

  const Settings& settings_;
  const ThreadLogger& logger_;
};

}  // namespace com::corvane::connectivity::plugins
