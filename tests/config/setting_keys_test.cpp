// The table of keys, and values of a wrong kind at every place where a key may stand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "config/settings.h"
#include "model/list.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::data_t;
using connectivity10_15_0::list_t;
using connectivity10_15_0::map_t;
using testing::StrEq;
using testing::ThrowsMessage;

TEST(SettingKeysTest, TableListsTheKeysInTheOrderOfReading) {
  std::vector<std::vector<std::string>> table;
  for (const SettingKey& key : settingKeys()) {
    table.push_back({key.path, key.type, key.defaultValue, key.alternative});
  }

  const std::string type = "none or HTTP_BASIC";
  EXPECT_THAT(table, testing::ElementsAreArray(std::vector<std::vector<std::string>>{
                         {"host", "string", "", ""},
                         {"port", "integer", "unset", ""},
                         {"timeoutSecs", "integer", "120", ""},
                         {"tls", "boolean", "false", ""},
                         {"tlsCertificateAuthorityFile", "string", "", "certificateAuthorityPath"},
                         {"tlsAcceptUnrecognizedCertificates", "boolean", "false",
                          "acceptUnrecognizedCertificates"},
                         {"authentication/authenticationType", type, "none", "authenticationType"},
                         {"authentication/username", "string", "", "user"},
                         {"authentication/password", "string", "", "password"},
                         {"basePath", "string", "", ""},
                         {"proxy/host", "string", "", ""},
                         {"proxy/port", "integer", "unset", ""},
                         {"proxy/authentication/authenticationType", type, "none", ""},
                         {"proxy/authentication/username", "string", "", ""},
                         {"proxy/authentication/password", "string", "", ""},
                         {"followRedirects", "boolean", "true", ""},
                         {"cookieJar", "boolean", "true", ""},
                         {"numClients", "integer", "1", ""},
                     }));
}

struct Place {
  std::string path;
  std::string type;
};

// Every key under each of its names.
std::vector<Place> allPlaces() {
  std::vector<Place> places;
  for (const SettingKey& key : settingKeys()) {
    places.push_back({key.path, key.type});
    if (!key.alternative.empty()) places.push_back({key.alternative, key.type});
  }
  return places;
}

// A configuration that holds one value at a path.
map_t configWith(const std::string& path, data_t value) {
  map_t map;
  const auto separator = path.find('/');
  if (separator == std::string::npos) {
    map.insert(data_t(path), std::move(value));
  } else {
    map.insert(data_t(path.substr(0, separator)),
               data_t(configWith(path.substr(separator + 1), std::move(value))));
  }
  return map;
}

std::string describe(const std::string& type) {
  if (type == "string" || type == "boolean") return "a " + type;
  return type == "integer" ? "an integer" : type;
}

std::ostream& operator<<(std::ostream& out, const Place& place) { return out << place.path; }

class SettingPlaceTest : public testing::TestWithParam<Place> {
 protected:
  void expectRefused(data_t value) {
    const map_t config = configWith(GetParam().path, std::move(value));
    EXPECT_THAT(
        [&] { readSettings(config); },
        ThrowsMessage<std::runtime_error>(StrEq("HTTPClient configuration " + GetParam().path +
                                                " must be " + describe(GetParam().type))));
  }
};

TEST_P(SettingPlaceTest, ValueOfAWrongKindIsRefusedByItsPlaceAndType) {
  expectRefused(data_t());
  expectRefused(data_t(1.0));
  expectRefused(data_t(list_t()));
  expectRefused(data_t(map_t()));
  if (GetParam().type != "boolean") expectRefused(data_t(true));
  if (GetParam().type != "integer") expectRefused(data_t(std::int64_t{1}));
  if (GetParam().type != "string") expectRefused(data_t("anything"));
}

INSTANTIATE_TEST_SUITE_P(AllPlaces, SettingPlaceTest, testing::ValuesIn(allPlaces()),
                         [](const auto& tested) {
                           std::string name = tested.param.path;  // as one word
                           for (auto at = name.find('/'); at != name.npos; at = name.find('/')) {
                             name.erase(at, 1);
                             name[at] = static_cast<char>(std::toupper(name[at]));
                           }
                           return name;
                         });

}  // namespace com::corvane::connectivity::plugins
