#include "http/redirects.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <string_view>

#include "http/ascii.h"
#include "model/get.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;

namespace {

// The library decodes the path, and the request's path is parsed once more: what would read as a
// delimiter then has to be encoded again, a colon where it would end a scheme.
std::string encodedAgain(const std::string& path) {
  std::string result;
  result.reserve(path.size());
  for (char c : path) {
    switch (c) {
      case '%':
        result += "%25";
        break;
      case '?':
        result += "%3F";
        break;
      case '#':
        result += "%23";
        break;
      case ':':
        result += result.find('/') == std::string::npos ? "%3A" : ":";
        break;
      default:
        result += c;
    }
  }
  return result;
}

// The library reads "[]" as no host at all, and skips what stands between "]" and the port.
bool hasBrokenAddress(std::string_view location) {
  const std::size_t colon = location.find_first_of(":/?#");
  if (colon == std::string_view::npos || location.substr(colon, 3) != "://") return false;
  std::string_view authority = location.substr(colon + 3);
  authority = authority.substr(0, authority.find_first_of("/?#"));
  authority.remove_prefix(authority.rfind('@') + 1);  // 0 when there is none
  if (!authority.starts_with('[')) return false;
  const std::size_t end = std::min(authority.find(']'), authority.size() - 1) + 1;
  return end <= 2 || (end < authority.size() && authority[end] != ':');
}

// Credentials in a location must not reach a log line or a failure text.
Poco::URI locationUri(std::string_view location) {
  Poco::URI uri{std::string(location)};
  uri.setUserInfo({});
  if (hasBrokenAddress(location)) throw Poco::URISyntaxException("bad or invalid host");
  return uri;
}

}  // namespace

bool Redirects::follows(int status) const {
  if (!settings_.followRedirects) return false;
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::optional<std::string> Redirects::retarget(const ResponseHead& head,
                                               RequestDetails& details) const {
  if (details.redirectCount >= RequestDetails::kMaxRedirects) return "Maximum redirects exceeded";
  const int status = head.status();
  const auto id = get<std::int64_t>(details.requestId);
  logger_.log(LogLevel::Debug, "Received Redirect request for Id %I64u and status %I32d",
              static_cast<std::uint64_t>(id), std::int32_t{status});
  const std::string_view location = head.find("location");
  if (location.data() == nullptr) {
    return refuse("No location header specified in redirect for Id " + std::to_string(id) +
                  " ,status " + std::to_string(status));
  }
  ++details.redirectCount;
  const Poco::URI target = locationUri(location);
  const std::string text = target.toString();
  const auto subject = [&] {
    return "Id " + std::to_string(id) + ", status " + std::to_string(status) +
           ", it redirects to different ";
  };
  const char* const scheme = settings_.tls ? "https" : "http";
  if (!target.getScheme().empty() && target.getScheme() != scheme) {
    return refuse(subject() + "schema, from " + scheme + " to " + target.getScheme() +
                  " and LocationURI " + text);
  }
  logger_.log(LogLevel::Debug, "Processing request for status: %I64u ,Last URI: %s ,Target URI: %s",
              static_cast<std::uint64_t>(status), details.lastUri, text);
  if (leavesServer(target)) {
    return refuse(subject() + "host/port, from host " + settings_.host + " to " + target.getHost() +
                  " or port " + std::to_string(settings_.port) + " to " +
                  std::to_string(target.getPort()));
  }
  turn(details, target, text, status);
  return std::nullopt;
}

bool Redirects::leavesServer(const Poco::URI& target) const {
  const std::string& host = target.getHost();  // an IPv6 address without its brackets
  if (!host.empty() && !ascii::equalsIgnoringCase(host, settings_.host)) return true;
  // 0 for a location without a scheme and a port.
  const std::int64_t port = target.getPort();
  return port != 0 && port != settings_.port;
}

std::string Redirects::refuse(const std::string& reason) const {
  std::string text = "Ignored HTTP redirect: " + reason;
  logger_.log(LogLevel::Error, "%s", text);
  return text;
}

void Redirects::turn(RequestDetails& details, const Poco::URI& target, const std::string& text,
                     int status) const {
  if (status == 301 || status == 308) {
    logger_.log(LogLevel::Debug,
                "Received permanent redirects requests with host= %s and new URL %s",
                settings_.host, text);
  }
  details.path = data_t(encodedAgain(target.getPath()));
  const std::string_view method = get<const char*>(details.method);
  const bool keepsMethod = status == 307 || status == 308 || method == "GET" || method == "HEAD";
  if (!keepsMethod) details.method = data_t("GET");
  logger_.log(LogLevel::Debug, "Redirect Request: %s %s %d and RequestURI %s",
              get<const char*>(details.method), get<const char*>(details.path),
              std::int32_t{status}, text);
}

}  // namespace com::corvane::connectivity::plugins
