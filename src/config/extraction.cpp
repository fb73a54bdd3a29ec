#include "config/extraction.h"

#include <stdexcept>

#include "model/get.h"
#include "model/text.h"

namespace com::corvane::connectivity10_15_0 {

map_t* extractNestedConfig(map_t& working, const std::string& owner, const std::string& key) {
  if (key.empty() || key.back() == '/') {
    throw std::runtime_error(owner + " configuration cannot specify an empty nested{} name");
  }
  const auto found = findConfig(working, owner, key);
  if (!found) return nullptr;
  data_t& value = found->position.value();
  if (value.tag() != KEL_TAG_MAP) {
    throw std::runtime_error(owner + " configuration " + key + " incorrectly nested map");
  }
  return &get<map_t>(value);
}

std::optional<ConfigPosition> findConfig(map_t& working, const std::string& owner,
                                         const std::string& key) {
  const auto separator = key.rfind('/');
  const bool nested = separator != std::string::npos;
  map_t* const map =
      nested ? extractNestedConfig(working, owner, key.substr(0, separator)) : &working;
  if (map == nullptr) return std::nullopt;
  const auto position = map->find(key.c_str() + (nested ? separator + 1 : 0));
  if (position == map->end()) return std::nullopt;
  return ConfigPosition{map, position, key};
}

std::optional<ConfigPosition> resolveAlternativeKeys(map_t& working, const std::string& owner,
                                                     const std::string& preferred,
                                                     const std::string& alternative) {
  auto found = findConfig(working, owner, preferred);
  auto other = findConfig(working, owner, alternative);
  if (!other) return found;
  if (!found) return other;
  throw std::runtime_error("You cannot specify both " + preferred + " and " + alternative +
                           " for " + owner + " configuration");
}

void refuseConfig(const std::string& owner, const std::string& key,
                  const std::string& description) {
  throw std::runtime_error(owner + " configuration " + key + " must be " + description);
}

void refuseMissingConfig(const std::string& owner, const std::string& key) {
  throw std::runtime_error(owner + " missing required configuration element " + key);
}

void checkNoUnknownConfig(const map_t& working, const std::string& owner,
                          const std::string& group) {
  for (const auto& entry : working) {
    throw std::runtime_error("Unknown configuration element " + group + valueText(entry.key()) +
                             " in " + owner);
  }
}

}  // namespace com::corvane::connectivity10_15_0
