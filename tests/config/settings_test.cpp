#include "config/settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/get.h"
#include "model/list.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::data_t;
using connectivity10_15_0::get;
using connectivity10_15_0::list_t;
using connectivity10_15_0::map_t;
using testing::StrEq;
using testing::ThrowsMessage;

namespace {

// Builds configuration maps: Config().put("port", 80).put("proxy", Config().put("host", "p"))
class Config {
 public:
  Config put(const char* key, data_t value) && {
    map_.insert(data_t(key), std::move(value));
    return std::move(*this);
  }
  Config put(const char* key, const char* value) && {
    return std::move(*this).put(key, data_t(value));
  }
  Config put(const char* key, std::int64_t value) && {
    return std::move(*this).put(key, data_t(value));
  }
  Config put(const char* key, int value) && {
    return std::move(*this).put(key, std::int64_t{value});
  }
  Config put(const char* key, bool value) && { return std::move(*this).put(key, data_t(value)); }
  Config put(const char* key, Config group) && {
    return std::move(*this).put(key, data_t(std::move(group.map_)));
  }

  const map_t& map() const { return map_; }

 private:
  map_t map_;
};

Settings read(const Config& config) { return readSettings(config.map()).settings; }

bool isBasic(const Config& config) { return readSettings(config.map()).basicAuthentication; }

void expectRefusal(const Config& config, const std::string& text) {
  EXPECT_THAT([&] { readSettings(config.map()); }, ThrowsMessage<std::runtime_error>(StrEq(text)));
}

}  // namespace

// ---- Defaults and values

TEST(SettingsTest, EmptyConfigurationGivesTheDefaults) {
  const TransportSettings read = readSettings(map_t());

  const Settings& settings = read.settings;
  EXPECT_EQ(settings.basePath, "");
  EXPECT_TRUE(settings.cookieJar);
  EXPECT_EQ(settings.port, 80);
  EXPECT_EQ(settings.timeoutSecs, 120);
  EXPECT_EQ(settings.host, "");
  EXPECT_FALSE(settings.tls);
  EXPECT_EQ(settings.tlsCertificateAuthorityFile, "");
  EXPECT_FALSE(settings.tlsAcceptUnrecognizedCertificates);
  EXPECT_EQ(settings.user, "");
  EXPECT_EQ(settings.password, "");
  EXPECT_EQ(settings.proxyHost, "");
  EXPECT_EQ(settings.proxyPort, -99999);
  EXPECT_EQ(settings.proxyUser, "");
  EXPECT_EQ(settings.proxyPassword, "");
  EXPECT_EQ(settings.proxyAuthenticationType, "none");
  EXPECT_TRUE(settings.followRedirects);
  EXPECT_EQ(settings.numClients, 1);
  EXPECT_FALSE(read.basicAuthentication);
}

TEST(SettingsTest, EveryKeyReachesItsField) {
  const auto config =
      Config()
          .put("host", "server")
          .put("port", 8080)
          .put("timeoutSecs", 7)
          .put("tls", true)
          .put("tlsCertificateAuthorityFile", "/ca.pem")
          .put("tlsAcceptUnrecognizedCertificates", true)
          .put("authentication", Config()
                                     .put("authenticationType", "HTTP_BASIC")
                                     .put("username", "user")
                                     .put("password", "password"))
          .put("basePath", "/base")
          .put("proxy", Config()
                            .put("host", "proxy")
                            .put("port", 3128)
                            .put("authentication", Config()
                                                       .put("authenticationType", "Http_Basic")
                                                       .put("username", "proxy user")
                                                       .put("password", "proxy password")))
          .put("followRedirects", false)
          .put("cookieJar", false)
          .put("numClients", 4);

  const TransportSettings read = readSettings(config.map());

  const Settings& settings = read.settings;
  EXPECT_EQ(settings.host, "server");
  EXPECT_EQ(settings.port, 8080);
  EXPECT_EQ(settings.timeoutSecs, 7);
  EXPECT_TRUE(settings.tls);
  EXPECT_EQ(settings.tlsCertificateAuthorityFile, "/ca.pem");
  EXPECT_TRUE(settings.tlsAcceptUnrecognizedCertificates);
  EXPECT_TRUE(read.basicAuthentication);
  EXPECT_EQ(settings.user, "user");
  EXPECT_EQ(settings.password, "password");
  EXPECT_EQ(settings.basePath, "/base");
  EXPECT_EQ(settings.proxyHost, "proxy");
  EXPECT_EQ(settings.proxyPort, 3128);
  EXPECT_EQ(settings.proxyAuthenticationType, "http_basic");
  EXPECT_EQ(settings.proxyUser, "proxy user");
  EXPECT_EQ(settings.proxyPassword, "proxy password");
  EXPECT_FALSE(settings.followRedirects);
  EXPECT_FALSE(settings.cookieJar);
  EXPECT_EQ(settings.numClients, 4);
}

TEST(SettingsTest, AlternativeFormsReachTheSameFields) {
  const auto config = Config()
                          .put("certificateAuthorityPath", "/ca.pem")
                          .put("acceptUnrecognizedCertificates", "True")
                          .put("authenticationType", "http_basic")
                          .put("user", "user")
                          .put("password", "password");

  const TransportSettings read = readSettings(config.map());

  EXPECT_EQ(read.settings.tlsCertificateAuthorityFile, "/ca.pem");
  EXPECT_TRUE(read.settings.tlsAcceptUnrecognizedCertificates);
  EXPECT_TRUE(read.basicAuthentication);
  EXPECT_EQ(read.settings.user, "user");
  EXPECT_EQ(read.settings.password, "password");
}

TEST(SettingsTest, FormsOfDifferentKeysMayBeMixed) {
  const auto config =
      Config().put("user", "user").put("authentication", Config().put("password", "password"));

  EXPECT_EQ(read(config).user, "user");
  EXPECT_EQ(read(config).password, "password");
}

TEST(SettingsTest, ReadingLeavesTheGivenMapAlone) {
  const auto config = Config().put("host", "server").put("proxy", Config().put("port", 1));

  readSettings(config.map());

  EXPECT_EQ(config.map().size(), 2u);
  EXPECT_EQ(get<map_t>(config.map().find("proxy").value()).size(), 1u);
}

// ---- Port

TEST(SettingsTest, PortDefaultsTo443WithTls) {
  EXPECT_EQ(read(Config().put("tls", true)).port, 443);
  EXPECT_EQ(read(Config().put("tls", "TRUE")).port, 443);
}

TEST(SettingsTest, PortDefaultsTo80WithoutTls) {
  EXPECT_EQ(read(Config().put("tls", false)).port, 80);
}

TEST(SettingsTest, GivenPortIsKeptWithTls) {
  EXPECT_EQ(read(Config().put("tls", true).put("port", 8443)).port, 8443);
}

TEST(SettingsTest, AnyIntegerIsAServerPort) {
  for (const std::int64_t port : {0, -1, 65536, 70000, 99999}) {
    EXPECT_EQ(read(Config().put("port", port)).port, port);
  }
}

TEST(SettingsTest, UnsetMarkerIsReplacedWhenGivenToo) {
  EXPECT_EQ(read(Config().put("port", -99999)).port, 80);
  EXPECT_EQ(read(Config().put("port", -99999).put("tls", true)).port, 443);
}

// ---- Proxy

TEST(SettingsTest, ProxyPortMustBeAPortWhenThereIsAProxy) {
  const char* const text = "HTTPClient configuration proxy/port must be between 1 and 65535";

  expectRefusal(Config().put("proxy", Config().put("host", "p")), text);
  for (const std::int64_t port : {std::int64_t{0}, std::int64_t{65536}, std::int64_t{-1},
                                  std::int64_t{-99999}, INT64_MIN, INT64_MAX}) {
    expectRefusal(Config().put("proxy", Config().put("host", "p").put("port", port)), text);
  }
}

TEST(SettingsTest, ProxyPortMayBeAnyPort) {
  for (const std::int64_t port : {1, 3128, 65535}) {
    EXPECT_EQ(read(Config().put("proxy", Config().put("host", "p").put("port", port))).proxyPort,
              port);
  }
}

TEST(SettingsTest, ProxyPortIsNotLookedAtWithoutAProxyHost) {
  EXPECT_EQ(read(Config().put("proxy", Config().put("port", 70000))).proxyPort, 70000);
  EXPECT_EQ(read(Config().put("proxy", Config().put("host", "").put("port", 0))).proxyPort, 0);
}

// ---- Time-out and clients

TEST(SettingsTest, TimeoutMustBeMoreThanZero) {
  const char* const text = "HTTPClient configuration timeoutSecs must be more than 0";

  expectRefusal(Config().put("timeoutSecs", 0), text);
  expectRefusal(Config().put("timeoutSecs", -5), text);
  EXPECT_EQ(read(Config().put("timeoutSecs", 1)).timeoutSecs, 1);
}

TEST(SettingsTest, NumberOfClientsIsPassedOnAsItIs) {
  for (const std::int64_t clients : {-1, 0, 1, 4, 1000}) {
    EXPECT_EQ(read(Config().put("numClients", clients)).numClients, clients);
  }
  EXPECT_EQ(read(Config().put("numClients", "4")).numClients, 4);
  expectRefusal(Config().put("numClients", data_t(4.0)),
                "HTTPClient configuration numClients must be an integer");
}

TEST(SettingsTest, EmptyHostPasses) { EXPECT_EQ(read(Config().put("host", "")).host, ""); }

// ---- Authentication

TEST(SettingsTest, BasicAuthenticationIsSwitchedOnByItsTypeAlone) {
  EXPECT_TRUE(isBasic(Config().put("authenticationType", "HTTP_BASIC")));
  EXPECT_TRUE(
      isBasic(Config().put("authentication", Config().put("authenticationType", "Http_Basic"))));
  EXPECT_FALSE(isBasic(Config().put("authenticationType", "none")));
  EXPECT_FALSE(isBasic(Config().put("authenticationType", "NONE").put("user", "u")));
  EXPECT_FALSE(isBasic(Config().put("user", "u").put("password", "p")));
}

TEST(SettingsTest, ProxyAuthenticationDoesNotSwitchTheServersOn) {
  EXPECT_FALSE(isBasic(Config().put(
      "proxy", Config().put("authentication", Config().put("authenticationType", "HTTP_BASIC")))));
}

TEST(SettingsTest, OtherAuthenticationTypeIsRefused) {
  expectRefusal(Config().put("authenticationType", "DIGEST"),
                "HTTPClient configuration authenticationType must be none or HTTP_BASIC");
  expectRefusal(
      Config().put("authentication", Config().put("authenticationType", "DIGEST")),
      "HTTPClient configuration authentication/authenticationType must be none or HTTP_BASIC");
  expectRefusal(Config().put("proxy", Config().put("authentication",
                                                   Config().put("authenticationType", "DIGEST"))),
                "HTTPClient configuration proxy/authentication/authenticationType must be none or "
                "HTTP_BASIC");
}

// ---- Both forms

TEST(SettingsTest, BothNamesOfAPairAreRefused) {
  expectRefusal(Config()
                    .put("certificateAuthorityPath", "/ca.pem")
                    .put("tlsCertificateAuthorityFile", "/ca.pem"),
                "You cannot specify both tlsCertificateAuthorityFile and certificateAuthorityPath "
                "for HTTPClient configuration");
  expectRefusal(Config()
                    .put("tlsAcceptUnrecognizedCertificates", true)
                    .put("acceptUnrecognizedCertificates", true),
                "You cannot specify both tlsAcceptUnrecognizedCertificates and "
                "acceptUnrecognizedCertificates for HTTPClient configuration");
}

TEST(SettingsTest, NameAndPathAtOnceAreRefused) {
  expectRefusal(
      Config().put("user", "u").put("authentication", Config().put("username", "u")),
      "You cannot specify both authentication/username and user for HTTPClient configuration");
  expectRefusal(Config().put("password", "p").put("authentication", Config().put("password", "p")),
                "You cannot specify both authentication/password and password for HTTPClient "
                "configuration");
  expectRefusal(Config()
                    .put("authenticationType", "HTTP_BASIC")
                    .put("authentication", Config().put("authenticationType", "HTTP_BASIC")),
                "You cannot specify both authentication/authenticationType and authenticationType "
                "for HTTPClient configuration");
}

// ---- Groups

TEST(SettingsTest, EmptyGroupsAreAsGoodAsNone) {
  EXPECT_EQ(read(Config()
                     .put("authentication", Config())
                     .put("proxy", Config().put("authentication", Config())))
                .port,
            80);
}

TEST(SettingsTest, GroupOfAnotherKindIsRefused) {
  expectRefusal(Config().put("proxy", "p"),
                "HTTPClient configuration proxy incorrectly nested map");
  expectRefusal(Config().put("authentication", data_t(list_t())),
                "HTTPClient configuration authentication incorrectly nested map");
  expectRefusal(Config().put("authentication", data_t()),
                "HTTPClient configuration authentication incorrectly nested map");
  expectRefusal(Config().put("proxy", Config().put("authentication", 1)),
                "HTTPClient configuration proxy/authentication incorrectly nested map");
}

TEST(SettingsTest, GroupWithoutANameIsRefused) {
  const char* const text = "HTTPClient configuration cannot specify an empty nested{} name";

  expectRefusal(Config().put("", Config()), text);
  expectRefusal(Config().put("", Config().put("host", "h")), text);
  expectRefusal(Config().put("proxy", Config().put("", Config())), text);
}

// ---- Unknown keys

TEST(SettingsTest, UnknownKeyIsRefused) {
  expectRefusal(Config().put("timeoutSec", 10),
                "Unknown configuration element timeoutSec in HTTPClient");
  expectRefusal(Config().put("Host", "h"), "Unknown configuration element Host in HTTPClient");
  expectRefusal(Config().put("", "text"), "Unknown configuration element  in HTTPClient");
  expectRefusal(Config().put("username", "u"),
                "Unknown configuration element username in HTTPClient");
  expectRefusal(Config().put("foo", Config().put("host", "h")),
                "Unknown configuration element foo in HTTPClient");
}

TEST(SettingsTest, UnknownKeyInAGroupIsRefusedByItsPath) {
  expectRefusal(Config().put("proxy", Config().put("foo", 1)),
                "Unknown configuration element proxy/foo in HTTPClient");
  expectRefusal(Config().put("authentication", Config().put("user", "u")),
                "Unknown configuration element authentication/user in HTTPClient");
  expectRefusal(Config().put("proxy", Config().put("authentication", Config().put("user", "u"))),
                "Unknown configuration element proxy/authentication/user in HTTPClient");
}

TEST(SettingsTest, UnknownKeyIsRefusedAfterAllKnownOnesWereRead) {
  // numClients is read last, and the misspelled key would be refused before it otherwise.
  expectRefusal(Config().put("hots", "h").put("numClients", "many"),
                "HTTPClient configuration numClients must be an integer");
  expectRefusal(Config().put("proxy", Config().put("foo", 1)).put("numClients", "many"),
                "HTTPClient configuration numClients must be an integer");
}

TEST(SettingsTest, UnknownKeyIsRefusedBeforeTheRulesOfTheTransport) {
  expectRefusal(Config().put("hots", "h").put("timeoutSecs", 0),
                "Unknown configuration element hots in HTTPClient");
}

TEST(SettingsTest, ProxyPortIsCheckedBeforeTheTimeout) {
  expectRefusal(Config().put("proxy", Config().put("host", "p")).put("timeoutSecs", 0),
                "HTTPClient configuration proxy/port must be between 1 and 65535");
}

}  // namespace com::corvane::connectivity::plugins
