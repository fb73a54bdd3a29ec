// http/session_factory.h : makes client sessions towards the configured server.
//
// Role:      one a transport. Chooses plain HTTP or HTTPS, installs the proxy and sets the
//            time-out. Connects nothing: the first request does.
// Threads:   any worker; the TLS context is made by the first create and shared from then on.
// Errors:    Poco::Exception, for example when the file of certificate authorities cannot be read.
#pragma once

#include <Poco/Net/Context.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "config/settings.h"
#include "http/client_session.h"
#include "http/connections.h"
#include "http/names.h"
#include "http/tls_sessions.h"
#include "runtime/mutex.h"

namespace com::corvane::connectivity::plugins {

class SessionFactory {
 public:
  /// Borrows the settings.
  explicit SessionFactory(const Settings& settings) : settings_(settings) {}

  /// Cuts the connections of all sessions, which then fail with Connections::kCutText, and refuses
  /// them new ones. Any thread; does not wait.
  void cutConnections() { connections_.cut(); }

  /// A session for `host` and `port` (cut to 16 bits); logs the "Connecting to" lines. The
  /// factory outlives it.
  std::unique_ptr<StrictSession> create(const std::string& host, std::uint64_t port,
                                        const ThreadLogger& logger);

  /// What all sessions with TLS share; made by the first call.
  Poco::Net::Context::Ptr tlsContext(const std::string& host);

 private:
  void logTls(const std::string& host, std::uint64_t port, const ThreadLogger& logger) const;
  void setProxy(SessionSettings& session, const ThreadLogger& logger) const;

  const Settings& settings_;
  Connections connections_;
  orvex::Mutex tlsContextMutex_{"TlsContextMutex"};
  Poco::Net::Context::Ptr tlsContext_;
  std::optional<TlsSessions> tlsSessions_;  // of the context
};

}  // namespace com::corvane::connectivity::plugins
