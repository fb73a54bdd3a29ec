#include "http/set_cookie.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeParser.h>
#include <Poco/Exception.h>
#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/NumberParser.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>

#include "http/ascii.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using Poco::Net::NameValueCollection;

namespace {

int clamped(std::int64_t seconds, int least) {
  constexpr std::int64_t kMost = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp<std::int64_t>(seconds, least, kMost));
}

int secondsUntil(const std::string& date) {
  int zone = 0;
  const Poco::DateTime time = Poco::DateTimeParser::parse(date, zone);
  const std::int64_t timeMs = time.timestamp().epochMicroseconds() / 1000;
  // Never -1: that number stands for a cookie without a lifetime.
  return clamped((timeMs - orvex::Platform::sysTime()) / 1000, 0);
}

// The first attribute of that name behind the cookie's own pair, or null: a cookie may bear an
// attribute's name itself.
const std::string* attribute(const NameValueCollection& parts, std::string_view name) {
  for (auto part = std::next(parts.begin()); part != parts.end(); ++part) {
    if (ascii::equalsIgnoringCase(part->first, name)) return &part->second;
  }
  return nullptr;
}

}  // namespace

std::optional<SetCookie> SetCookie::parse(std::string_view field) {
  try {
    const std::string text(field);
    NameValueCollection parts;
    Poco::Net::MessageHeader::splitParameters(text.begin(), text.end(), parts);
    if (parts.empty() || parts.begin()->first.empty()) return std::nullopt;
    SetCookie cookie;
    cookie.name = parts.begin()->first;
    cookie.value = parts.begin()->second;
    if (const auto* path = attribute(parts, "path")) cookie.path = *path;
    if (const auto* maxAge = attribute(parts, "max-age")) {
      cookie.maxAgeSeconds =
          clamped(Poco::NumberParser::parse64(*maxAge), std::numeric_limits<int>::min());
    } else if (const auto* expires = attribute(parts, "expires")) {
      cookie.maxAgeSeconds = secondsUntil(*expires);
    }
    return cookie;
  } catch (const Poco::Exception&) {
    return std::nullopt;
  }
}

}  // namespace com::corvane::connectivity::plugins
