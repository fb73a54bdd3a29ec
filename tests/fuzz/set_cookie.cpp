// Each line of the input is a Set-Cookie field, "@N" lets N seconds pass. A reader of another
// making has to find the same cookies, and a jar of another making has to give out the same ones.

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "http/cookie_jar.h"
#include "http/set_cookie.h"
#include "runtime/manual_clock.h"

namespace {

using com::corvane::connectivity::plugins::CookieJar;
using com::corvane::connectivity::plugins::SetCookie;
using com::corvane::connectivity::plugins::TextMap;
using com::orvex::ManualClockForTest;

constexpr std::int64_t kStartMs = 1'600'000'000'000;
constexpr std::int64_t kMost = std::numeric_limits<int>::max();
constexpr std::string_view kBlanks = " \t\n\v\f\r";

struct Attribute {
  std::string name;
  std::string value;
};

struct Expected {
  bool isCookie = false;
  bool isCertain = true;  // false: a lifetime is written in a way that may be read or refused
  Attribute pair;
  std::string path;
  std::int64_t maxAge = -1;
};

std::string trimmedRight(std::string text) {
  text.erase(text.find_last_not_of(kBlanks) + 1);
  return text;
}

std::string lowered(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return text;
}

// What stands between the semicolons that are not quoted. Quotation counts behind "=" only.
std::vector<Attribute> attributesOf(std::string_view field) {
  enum class State { Name, BeforeValue, Value, Quoted };
  std::vector<Attribute> attributes(1);
  State state = State::Name;
  bool isEscaped = false;
  for (const char c : field) {
    Attribute& last = attributes.back();
    const bool isBlank = kBlanks.find(c) != std::string_view::npos;
    if (state == State::BeforeValue && !isBlank) state = State::Value;
    if (std::exchange(isEscaped, false)) {
      last.value += c;
    } else if (c == ';' && state != State::Quoted) {
      attributes.emplace_back();
      state = State::Name;
    } else if (state == State::Name && c == '=') {
      state = State::BeforeValue;
    } else if (state == State::Name) {
      if (!isBlank || !last.name.empty()) last.name += c;
    } else if (c == '"') {
      state = state == State::Quoted ? State::Value : State::Quoted;
    } else if (c == '\\') {
      isEscaped = true;
    } else if (state != State::BeforeValue) {
      last.value += c;
    }
  }
  for (Attribute& attribute : attributes) {
    attribute.name = trimmedRight(attribute.name);
    attribute.value = trimmedRight(attribute.value);
  }
  return attributes;
}

// Up to 18 digits behind an optional minus sign.
std::optional<std::int64_t> plainNumber(std::string_view text) {
  const std::size_t sign = text.starts_with('-') ? 1 : 0;
  const std::string_view digits = text.substr(sign);
  if (digits.empty() || digits.size() > 18) return std::nullopt;
  std::int64_t value = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
  }
  return sign == 1 ? -value : value;
}

// The seconds since 1970 of "Sun, 06 Nov 1994 08:49:37 GMT", the one form that may be written.
std::optional<std::int64_t> plainDate(const std::string& text) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  constexpr std::string_view kDays = "SunMonTueWedThuFriSat";
  constexpr std::string_view kForm = "aaa, 00 Aaa 0000 00:00:00 GMT";
  if (text.size() != kForm.size()) return std::nullopt;
  for (std::size_t i = 0; i < kForm.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (kForm[i] == '0' ? !isDigit
                        : (i > 2 && kForm[i] != 'A' && kForm[i] != 'a' && text[i] != kForm[i])) {
      return std::nullopt;
    }
  }
  const std::size_t weekday = kDays.find(text.substr(0, 3));
  if (weekday == std::string_view::npos || weekday % 3 != 0) return std::nullopt;
  const std::size_t month = kMonths.find(text.substr(8, 3));
  if (month == std::string_view::npos || month % 3 != 0) return std::nullopt;
  const auto number = [&](std::size_t position, std::size_t digits) {
    return static_cast<int>(*plainNumber(std::string_view(text).substr(position, digits)));
  };
  const std::chrono::year_month_day day(std::chrono::year(number(12, 4)),
                                        std::chrono::month(static_cast<unsigned>(month / 3 + 1)),
                                        std::chrono::day(static_cast<unsigned>(number(5, 2))));
  const int hour = number(17, 2);
  const int minute = number(20, 2);
  const int second = number(23, 2);
  if (!day.ok() || number(12, 4) < 1601 || hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  const std::int64_t days = std::chrono::sys_days(day).time_since_epoch().count();
  return ((days * 24 + hour) * 60 + minute) * 60 + second;
}

Expected readAnew(std::string_view field, std::int64_t nowMs) {
  Expected expected;
  auto attributes = attributesOf(field);
  const auto isEmpty = [](const Attribute& one) { return one.name.empty() && one.value.empty(); };
  const std::size_t begin = field.find_first_not_of("; \t\n\v\f\r");
  if (begin == std::string_view::npos || field[begin] == '=') return expected;
  std::erase_if(attributes, [&](const Attribute& one) { return one.name.empty() || isEmpty(one); });
  expected.isCookie = true;
  expected.pair = attributes.front();
  for (std::size_t i = 1; i < attributes.size(); ++i) {
    const std::string name = lowered(attributes[i].name);
    const std::string& value = attributes[i].value;
    if (name == "path") {
      expected.path = value;
    } else if (name == "max-age") {
      const auto number = plainNumber(value);
      expected.isCertain = expected.isCertain && number;
      expected.maxAge = std::clamp(number.value_or(0), -kMost - 1, kMost);
    } else if (name == "expires") {
      const auto date = plainDate(value);
      expected.isCertain = expected.isCertain && date;
      const std::int64_t left = date.value_or(0) * 1000 - nowMs;
      expected.maxAge = std::clamp(left / 1000, std::int64_t{0}, kMost);
    }
  }
  return expected;
}

struct Stored {
  Attribute pair;
  std::string path;
  std::int64_t expiry;  // seconds; -1: none
};

void compare(const std::optional<SetCookie>& actual, Expected& expected) {
  if (!expected.isCertain && actual) expected.maxAge = actual->maxAgeSeconds;
  if (!expected.isCertain && !actual) expected.isCookie = false;
  fuzz::require(actual.has_value() == expected.isCookie, "one reader finds a cookie, one does not");
  if (!actual) return;
  if (actual->name != expected.pair.name) fuzz::fail("name " + fuzz::shown(actual->name));
  if (actual->value != expected.pair.value) fuzz::fail("value " + fuzz::shown(actual->value));
  if (actual->path != expected.path) fuzz::fail("path " + fuzz::shown(actual->path));
  if (actual->maxAgeSeconds != expected.maxAge) {
    fuzz::fail("lifetime " + std::to_string(actual->maxAgeSeconds) + " instead of " +
               std::to_string(expected.maxAge));
  }
}

void keep(const Expected& expected, std::int64_t now, std::vector<Stored>& jar) {
  std::erase_if(jar, [&](const Stored& one) { return one.pair.name == expected.pair.name; });
  if (expected.maxAge == 0 || expected.maxAge < -1) return;
  const std::int64_t expiry = expected.maxAge < 0 ? -1 : now + expected.maxAge;
  jar.push_back({expected.pair, lowered(expected.path), expiry});
}

void compareRequests(CookieJar& actual, std::vector<Stored>& expected, const std::string& path,
                     std::int64_t now) {
  std::erase_if(expected, [&](const Stored& one) { return one.expiry >= 0 && one.expiry < now; });
  std::vector<std::pair<std::string, std::string>> wanted;
  for (const Stored& one : expected) {
    const bool applies = one.path.empty() || one.path == "/" || one.path == lowered(path);
    if (applies) wanted.emplace_back(one.pair.name, one.pair.value);
  }
  // Names that differ in case only stand side by side in the library's collection.
  std::vector<std::pair<std::string, std::string>> given;
  for (const auto& [name, value] : actual.requestCookies(TextMap(), path)) {
    given.emplace_back(name, value);
  }
  std::sort(wanted.begin(), wanted.end());
  std::sort(given.begin(), given.end());
  if (given != wanted) fuzz::fail("other cookies for the path " + fuzz::shown(path));
  fuzz::require(actual.sizeForTest() == expected.size(), "the jar holds another number of cookies");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  ManualClockForTest clock(0, kStartMs);
  std::int64_t now = 0;
  CookieJar jar(true);
  std::vector<Stored> model;
  for (int lines = 0; !input.empty() && lines < 50; ++lines) {
    const std::size_t end = input.find('\n');
    std::string field(input.substr(0, end));
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    if (const auto seconds = plainNumber(field.starts_with('@') ? field.substr(1) : "")) {
      now += std::clamp<std::int64_t>(*seconds, 0, 1'000'000);
      clock.advanceMs(std::clamp<std::int64_t>(*seconds, 0, 1'000'000) * 1000);
      continue;
    }
    std::replace(field.begin(), field.end(), '\0', ' ');  // neither stands in a field that was read
    std::replace(field.begin(), field.end(), '\r', ' ');
    Expected expected = readAnew(field, kStartMs + now * 1000);
    auto cookie = SetCookie::parse(field);
    compare(cookie, expected);
    if (!cookie) continue;
    jar.update(std::move(*cookie));
    keep(expected, now, model);
    compareRequests(jar, model, "/", now);
    compareRequests(jar, model, expected.path, now);
  }
  compareRequests(jar, model, "/api/v1?x=1", now);
  return 0;
}
