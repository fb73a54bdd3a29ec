// support/plugin_messages.h : what a host gives the plugin in tests: configurations and requests.
//
// Ownership: the values belong to the caller.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "model/message.h"

namespace test_support {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

/// Settings for a server on this machine. Without `timeoutSecs` it does not matter to the test.
inline map_t settingsFor(std::uint16_t port, std::int64_t clients,
                         std::int64_t timeoutSecs = 100'000) {
  map_t settings;
  settings.insert(data_t("host"), data_t("127.0.0.1"));
  settings.insert(data_t("port"), data_t(std::int64_t{port}));
  settings.insert(data_t("numClients"), data_t(clients));
  settings.insert(data_t("timeoutSecs"), data_t(timeoutSecs));
  return settings;
}

/// The same over TLS; an empty `authorityFile`: any certificate will do.
inline map_t tlsSettingsFor(std::uint16_t port, std::int64_t clients,
                            const std::string& authorityFile) {
  map_t settings = settingsFor(port, clients);
  settings.insert(data_t("tls"), data_t(true));
  if (authorityFile.empty()) {
    settings.insert(data_t("tlsAcceptUnrecognizedCertificates"), data_t(true));
  } else {
    settings.insert(data_t("tlsCertificateAuthorityFile"), data_t(authorityFile));
  }
  return settings;
}

/// The "http" map of a request.
inline map_t httpMap(const char* method, const std::string& path) {
  map_t http;
  http.insert(data_t("method"), data_t(method));
  http.insert(data_t("path"), data_t(path));
  return http;
}

inline Message requestMessage(std::int64_t id, map_t http, buffer_t payload = buffer_t(0)) {
  Message message;
  message.payload = data_t(std::move(payload));
  message.metadata.insert(data_t("requestId"), data_t(id));
  message.metadata.insert(data_t("http"), data_t(std::move(http)));
  return message;
}

}  // namespace test_support
