#include "chainhost/host_config.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/temp_dir.h"

namespace chainhost {
namespace {

using Levels = std::vector<std::pair<std::string, std::int32_t>>;

class HostConfigTest : public testing::Test {
 protected:
  HostConfig load(const std::string& text, const char* file = "host.yaml") {
    return loadHostConfig(folder_.write(file, text));
  }

  // The failure without the file's name in front.
  std::string failureOf(const std::string& text, const char* file = "host.yaml") {
    const std::string path = folder_.write(file, text);
    try {
      loadHostConfig(path);
    } catch (const ConfigError& error) {
      const std::string what = error.what();
      EXPECT_TRUE(what.starts_with(path + ": ")) << what;
      return what.substr(path.size() + 2);
    }
    return "no failure";
  }

  test_support::TempDir folder_;
};

const kel_data& member(const kel_data& map, const char* key) {
  EXPECT_EQ(map.tag, KEL_TAG_MAP);
  const kel_data* const found = find(map.payload.map, TextKey(key));
  static const kel_data none{};
  EXPECT_NE(found, nullptr) << key;
  return found == nullptr ? none : *found;
}

constexpr const char* kWholeYaml = R"(
plugin:
  class: Echo
  library: /opt/libEcho.so
name: front
chainId: "7"
logLevel: warn
logLevels:
  connectivity.front: DEBUG
  "connectivity": "OFF"
answerTimeoutSecs: 5
config:
  host: 127.0.0.1
  port: 8080
  tls: false
  proxy: {host: "", port: 0}
  list: [1, 2.5, three, ~]
)";

constexpr const char* kWholeJson = R"({
"plugin": {"class": "Echo", "library": "/opt/libEcho.so"}, "name": "front", "chainId": "7",
"logLevel": "warn", "logLevels": {"connectivity.front": "DEBUG", "connectivity": "OFF"},
"answerTimeoutSecs": 5, "config": {"host": "127.0.0.1", "port": 8080, "tls": false,
"proxy": {"host": "", "port": 0}, "list": [1, 2.5, "three", null]}})";

void expectWhole(const HostConfig& config) {
  EXPECT_EQ(config.className, "Echo");
  EXPECT_EQ(config.libraryPath, "/opt/libEcho.so");
  EXPECT_EQ(config.pluginName, "front");
  EXPECT_EQ(config.chainId, "7");
  EXPECT_EQ(config.answerTimeoutSecs, 5);
  ASSERT_EQ(config.logLevels.size(), 3U);
  EXPECT_EQ(config.logLevels[0], (Levels::value_type{"", 3}));
  const Levels byPrefix(config.logLevels.begin() + 1, config.logLevels.end());
  EXPECT_TRUE(byPrefix == (Levels{{"connectivity.front", 5}, {"connectivity", -1}}) ||
              byPrefix == (Levels{{"connectivity", -1}, {"connectivity.front", 5}}));

  const kel_data& map = config.pluginConfig;
  EXPECT_EQ(map.payload.map->count, 5U);
  EXPECT_STREQ(member(map, "host").payload.string, "127.0.0.1");
  EXPECT_EQ(member(map, "port").payload.integer, 8080);
  EXPECT_EQ(member(map, "tls").tag, KEL_TAG_BOOLEAN);
  EXPECT_STREQ(member(member(map, "proxy"), "host").payload.string, "");
  const auto list = elements(member(map, "list").payload.list);
  ASSERT_EQ(list.size(), 4U);
  EXPECT_EQ(list[0].payload.integer, 1);
  EXPECT_EQ(list[1].payload.number, 2.5);
  EXPECT_STREQ(list[2].payload.string, "three");
  EXPECT_EQ(list[3].tag, KEL_TAG_EMPTY);
}

TEST_F(HostConfigTest, ReadsEveryKeyFromYaml) { expectWhole(load(kWholeYaml)); }

TEST_F(HostConfigTest, ReadsEveryKeyFromAJsonFile) { expectWhole(load(kWholeJson, "host.json")); }

TEST_F(HostConfigTest, KnowsJsonByItsText) { expectWhole(load(kWholeJson, "host.conf")); }

TEST_F(HostConfigTest, ReadsAYamlFlowMapThatIsNoJson) {
  const HostConfig config = load("{name: front, config: {port: 0x50}}");

  EXPECT_EQ(config.pluginName, "front");
  EXPECT_EQ(member(config.pluginConfig, "port").payload.integer, 80);
}

TEST_F(HostConfigTest, ReadsJsonTextsThatYamlReadsOtherwise) {
  const HostConfig config = load(R"({"config": {"smile": "\ud83d\ude00", "slash": "\/"}})");

  EXPECT_STREQ(member(config.pluginConfig, "smile").payload.string, "\xF0\x9F\x98\x80");
  EXPECT_STREQ(member(config.pluginConfig, "slash").payload.string, "/");
}

TEST_F(HostConfigTest, HasDefaultsForEveryKey) {
  const HostConfig config = load("config:\n  host: h\n");

  EXPECT_EQ(config.className, "HTTPClient");
  EXPECT_EQ(config.pluginName, "HTTPClient");
  EXPECT_EQ(config.chainId, "chainhost");
  EXPECT_TRUE(config.libraryPath.ends_with("/libHTTPClient.so")) << config.libraryPath;
  EXPECT_EQ(config.answerTimeoutSecs, 900);
  EXPECT_TRUE(config.logLevels.empty());
}

TEST_F(HostConfigTest, HandsOverAnEmptyMapWithoutAConfigKey) {
  const HostConfig config = load("name: front");

  EXPECT_EQ(config.pluginConfig.tag, KEL_TAG_MAP);
  EXPECT_EQ(config.pluginConfig.payload.map, nullptr);
}

TEST_F(HostConfigTest, NamesThePluginAfterItsClass) {
  EXPECT_EQ(load("plugin: {class: Other}").pluginName, "Other");
}

TEST_F(HostConfigTest, LooksForARelativeLibraryBesideTheFile) {
  EXPECT_EQ(load("plugin: {library: lib/libX.so}").libraryPath, folder_.file("lib/libX.so"));
  EXPECT_EQ(load("plugin: {library: ./libX.so}").libraryPath, folder_.file("libX.so"));
}

struct Scalar {
  const char* name;
  const char* text;
  std::int32_t tag;
  double number = 0;             // integers and floats
  const char* string = nullptr;  // strings
};

class HostConfigScalarTest : public HostConfigTest, public testing::WithParamInterface<Scalar> {};

TEST_P(HostConfigScalarTest, HasTheKindOfTheCoreSchema) {
  const HostConfig config = load(std::string("config:\n  v: ") + GetParam().text + "\n");

  const kel_data& value = member(config.pluginConfig, "v");

  ASSERT_EQ(value.tag, GetParam().tag);
  if (value.tag == KEL_TAG_INTEGER) {
    EXPECT_EQ(value.payload.integer, static_cast<std::int64_t>(GetParam().number));
  } else if (value.tag == KEL_TAG_DOUBLE) {
    EXPECT_EQ(value.payload.number, GetParam().number);
  } else if (value.tag == KEL_TAG_BOOLEAN) {
    EXPECT_EQ(value.payload.boolean, GetParam().number);
  } else if (value.tag == KEL_TAG_STRING) {
    EXPECT_STREQ(value.payload.string, GetParam().string);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Plain, HostConfigScalarTest,
    testing::Values(
        Scalar{"Integer", "12", KEL_TAG_INTEGER, 12}, Scalar{"Plus", "+12", KEL_TAG_INTEGER, 12},
        Scalar{"Minus", "-12", KEL_TAG_INTEGER, -12},
        Scalar{"LeadingZeros", "0012", KEL_TAG_INTEGER, 12},
        Scalar{"Octal", "0o17", KEL_TAG_INTEGER, 15}, Scalar{"Hex", "0xfF", KEL_TAG_INTEGER, 255},
        Scalar{"NegativeHex", "-0x10", KEL_TAG_STRING, 0, "-0x10"},
        Scalar{"TwoSigns", "+-1", KEL_TAG_STRING, 0, "+-1"},
        Scalar{"Float", "1.5", KEL_TAG_DOUBLE, 1.5}, Scalar{"Point", ".5", KEL_TAG_DOUBLE, 0.5},
        Scalar{"EndPoint", "1.", KEL_TAG_DOUBLE, 1}, Scalar{"Exp", "+1e3", KEL_TAG_DOUBLE, 1000},
        Scalar{"ExpSign", "-1.5E-1", KEL_TAG_DOUBLE, -0.15},
        Scalar{"LargeInteger", "9223372036854775808", KEL_TAG_DOUBLE, 9223372036854775808.0},
        Scalar{"TooLarge", "1e400", KEL_TAG_DOUBLE, INFINITY},
        Scalar{"Infinity", "-.inf", KEL_TAG_DOUBLE, -INFINITY},
        Scalar{"JustAPoint", ".", KEL_TAG_STRING, 0, "."},
        Scalar{"JustAnExponent", "1e", KEL_TAG_STRING, 0, "1e"},
        Scalar{"Version", "1.2.3", KEL_TAG_STRING, 0, "1.2.3"},
        Scalar{"True", "True", KEL_TAG_BOOLEAN, 1}, Scalar{"False", "FALSE", KEL_TAG_BOOLEAN, 0},
        Scalar{"Yes", "yes", KEL_TAG_STRING, 0, "yes"},
        Scalar{"Off", "off", KEL_TAG_STRING, 0, "off"}, Scalar{"Null", "null", KEL_TAG_EMPTY},
        Scalar{"Tilde", "~", KEL_TAG_EMPTY}, Scalar{"Nothing", "", KEL_TAG_EMPTY},
        Scalar{"Time", "12:30", KEL_TAG_STRING, 0, "12:30"}),
    [](const auto& param) { return param.param.name; });

INSTANTIATE_TEST_SUITE_P(QuotedAndTagged, HostConfigScalarTest,
                         testing::Values(Scalar{"DoubleQuotes", "\"12\"", KEL_TAG_STRING, 0, "12"},
                                         Scalar{"SingleQuotes", "'true'", KEL_TAG_STRING, 0,
                                                "true"},
                                         Scalar{"EmptyText", "\"\"", KEL_TAG_STRING, 0, ""},
                                         Scalar{"Block", "|\n    12", KEL_TAG_STRING, 0, "12\n"},
                                         Scalar{"Str", "!!str 12", KEL_TAG_STRING, 0, "12"},
                                         Scalar{"Int", "!!int \"12\"", KEL_TAG_INTEGER, 12},
                                         Scalar{"Float", "!!float 12", KEL_TAG_DOUBLE, 12},
                                         Scalar{"Bool", "!!bool \"true\"", KEL_TAG_BOOLEAN, 1},
                                         Scalar{"Null", "!!null \"\"", KEL_TAG_EMPTY},
                                         Scalar{"Decimal", "{$decimal: 1.25}", KEL_TAG_DECIMAL},
                                         Scalar{"Base64", "{$base64: AP8=}", KEL_TAG_BUFFER}),
                         [](const auto& param) { return param.param.name; });

TEST_F(HostConfigTest, TakesYamlKeysAsTexts) {
  const HostConfig config = load("config: {1: a, true: b, 'x': c}");

  EXPECT_STREQ(member(config.pluginConfig, "1").payload.string, "a");
  EXPECT_STREQ(member(config.pluginConfig, "true").payload.string, "b");
  EXPECT_STREQ(member(config.pluginConfig, "x").payload.string, "c");
}

TEST_F(HostConfigTest, FollowsAliases) {
  const HostConfig config = load("config:\n  a: &a {k: 1}\n  b: *a\n");

  EXPECT_EQ(member(member(config.pluginConfig, "b"), "k").payload.integer, 1);
}

struct WrongConfig {
  const char* name;
  std::string text;
  const char* reason;
};

class HostConfigWrongTest : public HostConfigTest,
                            public testing::WithParamInterface<WrongConfig> {};

TEST_P(HostConfigWrongTest, IsRefusedWithItsReason) {
  EXPECT_EQ(failureOf(GetParam().text), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, HostConfigWrongTest,
    testing::Values(
        WrongConfig{"UnknownKey", "nmae: x", "unknown key nmae"},
        WrongConfig{"UnknownPluginKey", "plugin: {path: x}", "unknown key plugin.path"},
        WrongConfig{"PluginText", "plugin: HTTPClient", "plugin must be a map, not a string"},
        WrongConfig{"ClassNumber", "plugin: {class: 1}",
                    "plugin.class must be a string, not an integer"},
        WrongConfig{"ClassText", "plugin: {class: a-b}",
                    "plugin.class must be a C identifier, not \"a-b\""},
        WrongConfig{"ClassDigit", "plugin: {class: 1b}",
                    "plugin.class must be a C identifier, not \"1b\""},
        WrongConfig{"LibraryEmpty", "plugin: {library: ''}", "plugin.library must not be empty"},
        WrongConfig{"NameBoolean", "name: true", "name must be a string, not a boolean"},
        WrongConfig{"NameNull", "name:", "name must be a string, not empty"},
        WrongConfig{"ChainIdList", "chainId: [a]", "chainId must be a string, not a list"},
        WrongConfig{"Level", "logLevel: LOUD",
                    "logLevel: \"LOUD\" is no log level (OFF, CRIT, FATAL, ERROR, WARN, INFO, "
                    "DEBUG, TRACE)"},
        WrongConfig{"LevelNumber", "logLevel: 4", "logLevel must be a string, not an integer"},
        WrongConfig{"LevelsText", "logLevels: INFO", "logLevels must be a map, not a string"},
        WrongConfig{"LevelsValue", "logLevels: {a.b: LOUD}",
                    "logLevels.a.b: \"LOUD\" is no log level (OFF, CRIT, FATAL, ERROR, WARN, INFO, "
                    "DEBUG, TRACE)"},
        WrongConfig{"LevelsNumber", "logLevels: {a: 1.5}",
                    "logLevels.a must be a string, not a float"},
        WrongConfig{"TimeoutText", "answerTimeoutSecs: '5'",
                    "answerTimeoutSecs must be an integer, not a string"},
        WrongConfig{"TimeoutNegative", "answerTimeoutSecs: -1",
                    "answerTimeoutSecs must be between 0 and 1000000"},
        WrongConfig{"TimeoutLarge", "answerTimeoutSecs: 1000001",
                    "answerTimeoutSecs must be between 0 and 1000000"},
        WrongConfig{"ConfigList", "config: []", "config must be a map, not a list"}),
    [](const auto& param) { return param.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Yaml, HostConfigWrongTest,
    testing::Values(
        WrongConfig{"Duplicate", "name: a\nchainId: b\nname: c\n",
                    "line 3: the key \"name\" occurs twice"},
        WrongConfig{"NestedDuplicate", "config:\n  a:\n    x: 1\n    x: 1\n",
                    "line 4: the key \"x\" occurs twice"},
        WrongConfig{"Empty", "", "it must be a map"},
        WrongConfig{"List", "- a", "it must be a map"},
        WrongConfig{"Scalar", "text", "it must be a map"},
        WrongConfig{"TwoDocuments", "name: a\n---\nname: b\n", "there is more than one document"},
        WrongConfig{"Unclosed", "name: [a", "line 1: end of sequence flow not found"},
        WrongConfig{"NoAnchor", "name: *a", "line 1: the referenced anchor is not defined"},
        WrongConfig{"MapAsKey", "config:\n  ? {a: 1}\n  : 2\n", "line 2: a key must be a scalar"},
        WrongConfig{"UnknownTag", "config:\n  v: !color red\n",
                    "line 2: the tag \"!color\" is not known"},
        WrongConfig{"WrongInt", "config: {v: !!int x}", "line 1: \"x\" is no integer"},
        WrongConfig{"WrongFloat", "config: {v: !!float x}", "line 1: \"x\" is no float"},
        WrongConfig{"WrongBool", "config: {v: !!bool x}", "line 1: \"x\" is no boolean"},
        WrongConfig{"WrongNull", "config: {v: !!null x}", "line 1: \"x\" is no null"},
        WrongConfig{"Nul", "config: {v: \"a\\0b\"}", "line 1: a string must not contain U+0000"},
        WrongConfig{"BadDecimal", "config: {v: {$decimal: x}}",
                    "line 1: $decimal: \"x\" is not a decimal number of at most 16 digits"},
        WrongConfig{"NoUtf8", "name: caf\xE9", "it is not UTF-8"},
        WrongConfig{"Loop", "config: &a {b: *a}", "line 1: it is nested too deeply"}),
    [](const auto& param) { return param.param.name; });

TEST_F(HostConfigTest, RefusesWrongJsonFiles) {
  EXPECT_EQ(failureOf("[]", "host.json"), "it must be a map");
  EXPECT_EQ(failureOf("{\"name\": \"a\", \"name\": \"b\"}", "host.json"),
            "document: the key \"name\" occurs twice");
  EXPECT_EQ(failureOf("{\"config\": {\"a\": 1, \"a\": 2}}", "host.json"),
            "document.config: the key \"a\" occurs twice");
  EXPECT_EQ(failureOf("{name: yaml}", "host.json"),
            "invalid JSON: a comma, a bracket or a value is missing or misplaced");
  EXPECT_EQ(failureOf("", "host.json"), "invalid JSON: there is no value");
}

TEST_F(HostConfigTest, NamesAFileThatCannotBeRead) {
  const std::string missing = folder_.file("missing.yaml");

  try {
    loadHostConfig(missing);
    FAIL() << "a missing file was read";
  } catch (const ConfigError& error) {
    EXPECT_EQ(error.what(), missing + ": cannot be read: No such file or directory");
  }
}

TEST_F(HostConfigTest, NamesAFolderGivenAsAFile) {
  try {
    loadHostConfig(folder_.path());
    FAIL() << "a folder was read";
  } catch (const ConfigError& error) {
    EXPECT_EQ(error.what(), folder_.path().string() + ": cannot be read: Is a directory");
  }
}

}  // namespace
}  // namespace chainhost
