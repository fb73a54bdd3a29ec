// http/basic_authorization.h : what user and password become in a header field.
//
// Threads: any thread; no state.
#pragma once

#include <Poco/Net/HTTPBasicCredentials.h>
#include <Poco/Net/HTTPRequest.h>

#include <string>

namespace com::corvane::connectivity::plugins {

/// The value of Authorization and of Proxy-Authorization (RFC 7617), as the library writes it.
inline std::string basicAuthorization(const std::string& user, const std::string& password) {
  Poco::Net::HTTPRequest scratch;
  Poco::Net::HTTPBasicCredentials(user, password).authenticate(scratch);
  return scratch.get(Poco::Net::HTTPRequest::AUTHORIZATION);
}

}  // namespace com::corvane::connectivity::plugins
