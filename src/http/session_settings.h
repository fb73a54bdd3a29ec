// http/session_settings.h : what a client session is to connect to, and how.
#pragma once

#include <Poco/Net/Context.h>

#include <cstdint>
#include <string>

namespace com::corvane::connectivity::plugins {

class TlsSessions;

struct SessionSettings {
  std::string host;
  std::uint16_t port = 0;
  std::int64_t timeoutMs = 0;          // of each wait for the peer
  Poco::Net::Context::Ptr tlsContext;  // null: plain HTTP
  TlsSessions* tlsSessions = nullptr;  // of the context
  std::string proxyHost;               // empty: no proxy
  std::uint16_t proxyPort = 0;
  std::string proxyAuthorization;  // the value of Proxy-Authorization; empty: none is sent

  bool isTls() const { return !tlsContext.isNull(); }
  bool hasProxy() const { return !proxyHost.empty(); }
};

}  // namespace com::corvane::connectivity::plugins
