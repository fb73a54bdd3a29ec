#include "config/settings.h"

#include <array>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

#include "config/extraction.h"

namespace com::corvane::connectivity::plugins {

using namespace connectivity10_15_0;

namespace {

constexpr const char* kOwner = "HTTPClient";

// What the keys give: the record, and what is not kept in it.
struct Extracted : Settings {
  std::string authenticationType = "none";
};

using Field = std::variant<std::string Extracted::*, std::int64_t Extracted::*, bool Extracted::*>;

struct Declaration {
  const char* key;
  Field field;  // its initial value is the default
  const char* alternative = "";
  bool isAuthenticationType = false;  // "none" or "HTTP_BASIC"; otherwise the field's type counts
};

constexpr std::array<Declaration, 18> kDeclarations = {{
    {"host", &Extracted::host},
    {"port", &Extracted::port},
    {"timeoutSecs", &Extracted::timeoutSecs},
    {"tls", &Extracted::tls},
    {"tlsCertificateAuthorityFile", &Extracted::tlsCertificateAuthorityFile,
     "certificateAuthorityPath"},
    {"tlsAcceptUnrecognizedCertificates", &Extracted::tlsAcceptUnrecognizedCertificates,
     "acceptUnrecognizedCertificates"},
    {"authentication/authenticationType", &Extracted::authenticationType, "authenticationType",
     true},
    {"authentication/username", &Extracted::user, "user"},
    {"authentication/password", &Extracted::password, "password"},
    {"basePath", &Extracted::basePath},
    {"proxy/host", &Extracted::proxyHost},
    {"proxy/port", &Extracted::proxyPort},
    {"proxy/authentication/authenticationType", &Extracted::proxyAuthenticationType, "", true},
    {"proxy/authentication/username", &Extracted::proxyUser},
    {"proxy/authentication/password", &Extracted::proxyPassword},
    {"followRedirects", &Extracted::followRedirects},
    {"cookieJar", &Extracted::cookieJar},
    {"numClients", &Extracted::numClients},
}};

// Inner groups stand before the one that holds them.
constexpr std::array kGroups = {"authentication", "proxy/authentication", "proxy"};

Converter<std::string> converterFor(const Declaration& declaration, const std::string&) {
  return declaration.isAuthenticationType ? enumerationConverter({"none", "HTTP_BASIC"})
                                          : stringConverter();
}
Converter<std::int64_t> converterFor(const Declaration&, std::int64_t) {
  return integerConverter();
}
Converter<bool> converterFor(const Declaration&, bool) { return booleanConverter(); }

const char* typeName(const Declaration& declaration, const std::string&) {
  return declaration.isAuthenticationType ? "none or HTTP_BASIC" : "string";
}
const char* typeName(const Declaration&, std::int64_t) { return "integer"; }
const char* typeName(const Declaration&, bool) { return "boolean"; }

std::string defaultText(const std::string& value) { return value; }
std::string defaultText(std::int64_t value) {
  return value == kUnsetPort ? "unset" : std::to_string(value);
}
std::string defaultText(bool value) { return value ? "true" : "false"; }

void extract(map_t& working, const Declaration& declaration, Extracted& extracted) {
  const auto assign = [&](auto field) {
    auto& value = extracted.*field;
    const auto converter = converterFor(declaration, value);
    const std::string alternative = declaration.alternative;
    value = alternative.empty()
                ? extractConfig(working, kOwner, declaration.key, converter, std::optional(value))
                : extractConfig(working, kOwner, declaration.key, alternative, converter,
                                std::optional(value));
  };
  std::visit(assign, declaration.field);
}

// Refuses what a map still holds; a map under an empty key is a group that somebody forgot to name.
void refuseLeftovers(map_t& map, const std::string& group) {
  const auto unnamed = map.find("");
  if (unnamed != map.end() && unnamed.value().tag() == KEL_TAG_MAP) {
    extractNestedConfig(map, kOwner, "");
  }
  checkNoUnknownConfig(map, kOwner, group);
}

// Every known key has been taken out: what is left is unknown, the emptied groups apart.
void refuseUnknown(map_t& working) {
  for (const char* const group : kGroups) {
    map_t* const map = extractNestedConfig(working, kOwner, group);
    if (map == nullptr) continue;
    refuseLeftovers(*map, std::string(group) + "/");
    const auto found = findConfig(working, kOwner, group);
    found->map->erase(found->position);
  }
  refuseLeftovers(working, "");
}

void validate(Settings& settings) {
  if (settings.port == kUnsetPort) settings.port = settings.tls ? 443 : 80;
  if (!settings.proxyHost.empty() && !isPort(settings.proxyPort)) {
    refuseConfig(kOwner, "proxy/port", portConverter().description);
  }
  if (settings.timeoutSecs < 1) {
    throw std::runtime_error("HTTPClient configuration timeoutSecs must be more than 0");
  }
}

}  // namespace

TransportSettings readSettings(const map_t& config) {
  map_t working = config.copy();
  Extracted extracted;
  for (const Declaration& declaration : kDeclarations) extract(working, declaration, extracted);
  refuseUnknown(working);
  validate(extracted);
  const bool basicAuthentication = extracted.authenticationType != "none";
  return {std::move(extracted), basicAuthentication};
}

std::vector<SettingKey> settingKeys() {
  const Extracted defaults;
  std::vector<SettingKey> keys;
  for (const Declaration& declaration : kDeclarations) {
    const auto describe = [&](auto field) {
      const auto& value = defaults.*field;
      keys.push_back({declaration.key, typeName(declaration, value), defaultText(value),
                      declaration.alternative});
    };
    std::visit(describe, declaration.field);
  }
  return keys;
}

}  // namespace com::corvane::connectivity::plugins
