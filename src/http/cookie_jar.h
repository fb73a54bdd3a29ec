// http/cookie_jar.h : the cookies that the server has set, to be sent back with later requests.
//
// Role:      one a transport. RequestWriter asks it for the cookies of each request that it sends,
//            ResponseMapping hands it every cookie of a response.
// Threads:   any worker. "CookieJarMutex" is held for one pass over the entries or one change of
//            them, and nothing else is locked meanwhile. A jar that is off takes no lock.
// Errors:    std::bad_alloc, after which the jar is as it was before.
// Invariants: 1) at most one entry a name, compared byte by byte, whatever path and domain it was
//            set with; 2) entries stand in the order in which they were stored, so that one that
//            was replaced stands at the end.
// Limits:    none: it holds what the server sets until that expires or the transport ends.
#pragma once

#include <Poco/Net/NameValueCollection.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>

#include "http/fnv1a.h"
#include "http/set_cookie.h"
#include "http/text_map.h"
#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class CookieJar {
 public:
  /// Empty. One that is not enabled stores nothing and adds nothing to a request.
  explicit CookieJar(bool enabled) : enabled_(enabled) {}

  /// False: a request has the cookies of its message alone.
  bool isEnabled() const { return enabled_; }

  /// The cookies of a request: the message's own in their order, then the stored ones that apply.
  /// A stored one applies when the message has none of that name, and its path is empty, "/" or,
  /// without regard to case, the whole of `path`: a query counts, and a longer path is another one.
  /// Entries that have expired are removed.
  Poco::Net::NameValueCollection requestCookies(const TextMap& own, std::string_view path);

  /// Takes a cookie of a response over: it replaces the one of that name, or removes it when it is
  /// a deletion.
  void update(SetCookie cookie);

  /// Entries held, expired ones that no request has come upon included.
  std::size_t sizeForTest() const;

 private:
  struct Entry {
    std::string name;
    std::string value;
    std::string path;          // in lower case
    bool isSession;            // held until it is replaced or deleted
    std::int64_t expiryNanos;  // on the monotonic clock; of a session cookie the time of storing

    bool hasExpired(std::int64_t nowNanos) const { return !isSession && expiryNanos < nowNanos; }
    bool appliesTo(std::string_view requestPath) const;
  };
  using Entries = std::list<Entry>;
  // By name; each key is a view of its entry's name.
  using Index = std::unordered_map<std::string_view, Entries::iterator, Fnv1a>;

  static Entry entryOf(SetCookie&& cookie);
  void remove(std::string_view name) OV_REQUIRES(mutex_);

  const bool enabled_;
  mutable orvex::Mutex mutex_{"CookieJarMutex"};
  Entries entries_ OV_GUARDED_BY(mutex_);
  Index index_ OV_GUARDED_BY(mutex_){8};
};

}  // namespace com::corvane::connectivity::plugins
