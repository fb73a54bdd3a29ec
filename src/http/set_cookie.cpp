#include "http/set_cookie.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeParser.h>
#include <Poco/Exception.h>
#include <Poco/Net/MessageHeader.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/NumberParser.h>

#include <algorithm>
#include <cstdint>
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

// A field whose own pair has no name: the parser passes over such a pair, and the attribute behind
// it would be taken for the cookie.
bool isNameless(std::string_view field) {
  const auto begin = field.find_first_not_of("; \t\n\v\f\r");
  return begin != std::string_view::npos && field[begin] == '=';
}

void readAttribute(const std::string& name, const std::string& value, SetCookie& cookie) {
  if (ascii::equalsIgnoringCase(name, "path")) {
    cookie.path = value;
  } else if (ascii::equalsIgnoringCase(name, "max-age")) {
    cookie.maxAgeSeconds =
        clamped(Poco::NumberParser::parse64(value), std::numeric_limits<int>::min());
  } else if (ascii::equalsIgnoringCase(name, "expires")) {
    cookie.maxAgeSeconds = secondsUntil(value);
  }
}

}  // namespace

std::optional<SetCookie> SetCookie::parse(std::string_view field) {
  try {
    const std::string text(field);
    NameValueCollection parts;
    Poco::Net::MessageHeader::splitParameters(text.begin(), text.end(), parts);
    if (parts.empty() || isNameless(field)) return std::nullopt;
    SetCookie cookie;
    auto part = parts.begin();
    cookie.name = part->first;
    cookie.value = part->second;
    while (++part != parts.end()) readAttribute(part->first, part->second, cookie);
    return cookie;
  } catch (const Poco::Exception&) {
    return std::nullopt;
  }
}

}  // namespace com::corvane::connectivity::plugins
