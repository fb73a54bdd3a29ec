#include "http/cookie_jar.h"

#include <algorithm>
#include <utility>

#include "http/ascii.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity::plugins {

using orvex::AutoMutex;
using orvex::Platform;
using Poco::Net::NameValueCollection;

bool CookieJar::Entry::appliesTo(std::string_view requestPath) const {
  return path.empty() || path == "/" ||
         std::equal(path.begin(), path.end(), requestPath.begin(), requestPath.end(),
                    [](char stored, char asked) { return stored == ascii::toLower(asked); });
}

NameValueCollection CookieJar::requestCookies(const TextMap& own, std::string_view path) {
  NameValueCollection cookies;
  for (const auto& [name, value] : own) cookies.add(name, value);
  if (!enabled_) return cookies;

  AutoMutex lock(mutex_);
  const std::int64_t now = Platform::monotonicNanos();
  for (auto next = entries_.begin(); next != entries_.end();) {
    const Entry& entry = *next++;
    if (entry.hasExpired(now)) {
      remove(entry.name);
    } else if (!own.contains(entry.name) && entry.appliesTo(path)) {
      cookies.add(entry.name, entry.value);
    }
  }
  return cookies;
}

// The old entry goes and the new one comes in one hold of the mutex: a request of another worker
// never finds the server's session missing only because it is being renewed.
void CookieJar::update(SetCookie cookie) {
  if (!enabled_) return;
  if (cookie.isDeletion()) {
    AutoMutex lock(mutex_);
    remove(cookie.name);
    return;
  }
  Entries stored;
  stored.push_back(entryOf(std::move(cookie)));
  const std::string& name = stored.front().name;
  AutoMutex lock(mutex_);
  auto place = index_.extract(name);
  if (place.empty()) {
    index_.emplace(name, stored.begin());
  } else {
    // Nothing fails between the old entry's end and the new one's beginning.
    entries_.erase(place.mapped());
    place.key() = name;
    place.mapped() = stored.begin();
    index_.insert(std::move(place));
  }
  entries_.splice(entries_.end(), stored);
}

std::size_t CookieJar::sizeForTest() const {
  AutoMutex lock(mutex_);
  return entries_.size();
}

// The longest lifetime is below 2^61 ns: the sum stays in range for two centuries of uptime.
CookieJar::Entry CookieJar::entryOf(SetCookie&& cookie) {
  const std::int64_t now = Platform::monotonicNanos();
  const bool isSession = cookie.isSession();
  const std::int64_t lifetime = isSession ? 0 : std::int64_t{cookie.maxAgeSeconds} * 1'000'000'000;
  ascii::lower(cookie.path);
  return {std::move(cookie.name), std::move(cookie.value), std::move(cookie.path), isSession,
          now + lifetime};
}

void CookieJar::remove(std::string_view name) {
  const auto found = index_.find(name);
  if (found == index_.end()) return;
  const auto entry = found->second;
  index_.erase(found);  // before the entry, whose name is its key
  entries_.erase(entry);
}

}  // namespace com::corvane::connectivity::plugins
