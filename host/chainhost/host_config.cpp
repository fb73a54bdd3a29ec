#include "chainhost/host_config.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

#include "chainhost/json_text.h"
#include "chainhost/json_value.h"
#include "chainhost/yaml_value.h"
#include "kel/host_control.h"

namespace chainhost {

namespace {

constexpr std::int64_t kAnswerTimeoutSecsMax = 1'000'000;
constexpr std::int32_t kNoLevel = -2;
constexpr const char* kLevelNames = "OFF, CRIT, FATAL, ERROR, WARN, INFO, DEBUG, TRACE";

std::string readFile(const std::string& path) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  // An empty file leaves the stream failed, too; only the system's error tells the difference.
  if (!file || (!(text << file.rdbuf()) && errno != 0)) {
    throw ConfigError("cannot be read: " + std::generic_category().message(errno));
  }
  return text.str();
}

// The document, or nothing when the text is no JSON.
std::optional<Map> parseJsonMap(const std::string& text, bool mustBeJson) {
  JsonParser parser;
  simdjson::dom::element root;
  try {
    root = parser.parseUnpadded(text);
  } catch (const JsonError&) {
    if (mustBeJson) {
      throw;
    }
    return std::nullopt;
  }
  if (!root.is_object()) {
    throw ConfigError("it must be a map");
  }
  return toMap(root.get_object().value_unsafe(), JsonPlace{nullptr, "document"});
}

Map parseDocument(const std::string& path, const std::string& text) {
  if (!isUtf8(text)) {
    throw ConfigError("it is not UTF-8");
  }
  const bool isJsonFile = path.ends_with(".json");
  if (isJsonFile || text.find_first_not_of(" \t\r\n") == text.find('{')) {
    if (auto document = parseJsonMap(text, isJsonFile)) {
      return std::move(*document);
    }
  }
  return parseYamlMap(text);
}

const char* kindName(std::int32_t tag) {
  switch (tag) {
    case KEL_TAG_EMPTY:
      return "empty";
    case KEL_TAG_BOOLEAN:
      return "a boolean";
    case KEL_TAG_DOUBLE:
      return "a float";
    case KEL_TAG_INTEGER:
      return "an integer";
    case KEL_TAG_STRING:
      return "a string";
    case KEL_TAG_LIST:
      return "a list";
    case KEL_TAG_MAP:
      return "a map";
    default:
      return "another kind";
  }
}

// Reads the known keys of one map of ours and refuses the others.
class Section {
 public:
  Section(const map_block* map, std::string prefix) : map_(map), prefix_(std::move(prefix)) {}

  // The value of a key, or null.
  const kel_data* take(const char* key) {
    known_.push_back(key);
    return find(map_, TextKey(key));
  }

  const kel_data* take(const char* key, std::int32_t tag) {
    const kel_data* const value = take(key);
    if (value != nullptr) {
      requireKind(key, *value, tag);
    }
    return value;
  }

  void takeString(const char* key, std::string& target) {
    const kel_data* const value = take(key, KEL_TAG_STRING);
    if (value == nullptr) {
      return;
    }
    target = value->payload.string;
    if (target.empty()) {
      throw ConfigError(prefix_ + key + " must not be empty");
    }
  }

  void refuseUnknownKeys() const {
    for (const kel_map_slot& slot : slots(map_)) {
      if (isOccupied(slot) &&
          std::find(known_.begin(), known_.end(), slot.key.payload.string) == known_.end()) {
        throw ConfigError("unknown key " + prefix_ + slot.key.payload.string);
      }
    }
  }

  void requireKind(const std::string& key, const kel_data& value, std::int32_t tag) const {
    if (value.tag != tag) {
      throw ConfigError(prefix_ + key + " must be " + kindName(tag) + ", not " +
                        kindName(value.tag));
    }
  }

 private:
  const map_block* const map_;
  const std::string prefix_;
  std::vector<std::string_view> known_;
};

bool isIdentifier(std::string_view text) {
  const auto isWordCharacter = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  return std::isdigit(static_cast<unsigned char>(text.front())) == 0 &&
         std::all_of(text.begin(), text.end(), isWordCharacter);
}

std::int32_t toLevel(const std::string& key, const kel_data& value) {
  const std::int32_t level = kel_host_log_level_of(value.payload.string);
  if (level == kNoLevel) {
    throw ConfigError(key + ": \"" + value.payload.string + "\" is no log level (" + kLevelNames +
                      ")");
  }
  return level;
}

void readLogLevels(Section& root, HostConfig& config) {
  if (const kel_data* const level = root.take("logLevel", KEL_TAG_STRING)) {
    config.logLevels.emplace_back("", toLevel("logLevel", *level));
  }
  const kel_data* const levels = root.take("logLevels", KEL_TAG_MAP);
  if (levels == nullptr) {
    return;
  }
  const Section section(levels->payload.map, "logLevels.");
  for (const kel_map_slot& slot : slots(levels->payload.map)) {
    if (isOccupied(slot)) {
      const std::string prefix = slot.key.payload.string;
      section.requireKind(prefix, slot.value, KEL_TAG_STRING);
      config.logLevels.emplace_back(prefix, toLevel("logLevels." + prefix, slot.value));
    }
  }
}

std::string defaultLibraryPath(const std::string& className) {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string file = "lib" + className + ".so";
  const auto installed = folder.parent_path() / "lib" / file;
  const bool isBeside =
      !std::filesystem::exists(installed) && std::filesystem::exists(folder / file);
  return isBeside ? folder / file : installed;
}

void readPlugin(Section& root, const std::string& configPath, HostConfig& config) {
  if (const kel_data* const plugin = root.take("plugin", KEL_TAG_MAP)) {
    Section section(plugin->payload.map, "plugin.");
    section.takeString("class", config.className);
    section.takeString("library", config.libraryPath);
    section.refuseUnknownKeys();
  }
  if (!isIdentifier(config.className)) {
    throw ConfigError("plugin.class must be a C identifier, not \"" + config.className + "\"");
  }
  if (config.libraryPath.empty()) {
    config.libraryPath = defaultLibraryPath(config.className);
  } else {
    const auto folder = std::filesystem::absolute(configPath).parent_path();
    config.libraryPath = (folder / config.libraryPath).lexically_normal();
  }
}

HostConfig readDocument(const std::string& path, Map document) {
  HostConfig config;
  Section root(document.raw(), "");
  readPlugin(root, path, config);
  config.pluginName = config.className;
  root.takeString("name", config.pluginName);
  root.takeString("chainId", config.chainId);
  readLogLevels(root, config);
  if (const kel_data* const seconds = root.take("answerTimeoutSecs", KEL_TAG_INTEGER)) {
    config.answerTimeoutSecs = seconds->payload.integer;
    if (config.answerTimeoutSecs < 0 || config.answerTimeoutSecs > kAnswerTimeoutSecsMax) {
      throw ConfigError("answerTimeoutSecs must be between 0 and " +
                        std::to_string(kAnswerTimeoutSecsMax));
    }
  }
  const kel_data* const pluginConfig = root.take("config", KEL_TAG_MAP);
  config.pluginConfig.tag = KEL_TAG_MAP;  // over a null block: an empty map
  if (pluginConfig != nullptr) {
    config.pluginConfig = *pluginConfig;
  }
  root.refuseUnknownKeys();
  config.document = std::move(document);
  return config;
}

}  // namespace

HostConfig loadHostConfig(const std::string& path) {
  try {
    return readDocument(path, parseDocument(path, readFile(path)));
  } catch (const std::runtime_error& error) {
    throw ConfigError(path + ": " + error.what());
  }
}

}  // namespace chainhost
