// config/settings.h : the transport's configuration as plain values.
//
// Role:      readSettings turns the host's map into a record, once, when the transport is made.
//            settingKeys lists the keys for documentation and tests, from the same table.
// Threads:   values, constant after reading.
// Errors:    std::runtime_error with the text that the user reads; no partial record survives.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "model/map.h"

namespace com::corvane::connectivity::plugins {

/// Stands for a port that the configuration does not give.
inline constexpr std::int64_t kUnsetPort = -99999;

struct Settings {
  std::string basePath;
  bool cookieJar = true;
  std::int64_t port = kUnsetPort;  // never so once read: 443 with TLS and 80 without
  std::int64_t timeoutSecs = 120;
  std::string host;
  bool tls = false;
  std::string tlsCertificateAuthorityFile;
  bool tlsAcceptUnrecognizedCertificates = false;
  std::string user;
  std::string password;
  std::int64_t proxyPort = kUnsetPort;
  std::string proxyHost;
  std::string proxyUser;
  std::string proxyPassword;
  std::string proxyAuthenticationType = "none";  // or "http_basic"
  bool followRedirects = true;
  std::int64_t numClients = 1;  // any number: the transport refuses those below 1
};

struct TransportSettings {
  Settings settings;
  bool basicAuthentication = false;  // towards the server
};

/// Reads the configuration; works on a copy. Every refusal is a std::runtime_error:
///   "HTTPClient configuration <key> must be <what>"
///   "You cannot specify both <key> and <alternative> for HTTPClient configuration"
///   "HTTPClient configuration <group> incorrectly nested map"
///   "HTTPClient configuration cannot specify an empty nested{} name"
///   "Unknown configuration element <key> in HTTPClient", after all known keys
///   "HTTPClient configuration proxy/port must be between 1 and 65535"
///   "HTTPClient configuration timeoutSecs must be more than 0"
/// Keys inside groups are written as paths, such as proxy/authentication/username.
TransportSettings readSettings(const connectivity10_15_0::map_t& config);

/// One key of the configuration, as documented.
struct SettingKey {
  std::string path;          // "proxy/port": "port" inside the map "proxy"
  std::string type;          // "string", "integer", "boolean", or "none or HTTP_BASIC"
  std::string defaultValue;  // "unset" for a port, empty for an empty text
  std::string alternative;   // the other place where the value may stand; empty: none
};

/// All keys in the order in which they are read.
std::vector<SettingKey> settingKeys();

}  // namespace com::corvane::connectivity::plugins
