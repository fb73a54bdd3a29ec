// config/extraction.h : takes values out of a configuration map, and words every refusal the same.
//
// Role:      a reader makes a working copy of the host's map, extracts what it knows, and has
//            checkNoUnknownConfig refuse what is left. Start reading at extractConfig.
// Threads:   the caller's.
// Errors:    std::runtime_error with the text given at each function; <owner> is the name that the
//            caller gives. An element that does not convert stays in the map.
//
// A key may be a path: "proxy/port" is the element "port" of the map that stands under "proxy".
// Maps inside the configuration are called groups.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "config/converters.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

/// Where an element stands.
struct ConfigPosition {
  map_t* map;                // the working copy, or a group in it
  map_t::iterator position;  // in *map
  std::string key;           // its path from the working copy
};

/// The group that stands under a key, or null if there is none. Throws
/// "<owner> configuration <key> incorrectly nested map" for a value of another kind, and
/// "<owner> configuration cannot specify an empty nested{} name" for an empty name.
map_t* extractNestedConfig(map_t& working, const std::string& owner, const std::string& key);

/// The position of an element, or none. Throws as extractNestedConfig for the groups on the way.
std::optional<ConfigPosition> findConfig(map_t& working, const std::string& owner,
                                         const std::string& key);

/// The position of whichever of two keys is present, or none. Throws "You cannot specify both
/// <preferred> and <alternative> for <owner> configuration".
std::optional<ConfigPosition> resolveAlternativeKeys(map_t& working, const std::string& owner,
                                                     const std::string& preferred,
                                                     const std::string& alternative);

/// Throws "<owner> configuration <key> must be <description>".
[[noreturn]] void refuseConfig(const std::string& owner, const std::string& key,
                               const std::string& description);

/// Throws "<owner> missing required configuration element <key>".
[[noreturn]] void refuseMissingConfig(const std::string& owner, const std::string& key);

/// Converts the element at a position and removes it. Throws as refuseConfig, with the element's
/// own key.
template <typename T>
T extractConfigAt(ConfigPosition found, const std::string& owner, const Converter<T>& converter) {
  std::optional<T> value;
  try {
    value = converter.convert(found.position.value());
  } catch (const std::exception&) {
    refuseConfig(owner, found.key, converter.description);
  }
  found.map->erase(found.position);
  return *std::move(value);
}

/// The converted value of an element, which is removed, or the default if it is absent. An element
/// without a default is required. Throws as refuseConfig and refuseMissingConfig.
template <typename T>
T extractConfig(map_t& working, const std::string& owner, const std::string& key,
                const Converter<T>& converter, std::optional<T> defaultValue) {
  const auto found = findConfig(working, owner, key);
  if (found) return extractConfigAt(*found, owner, converter);
  if (!defaultValue) refuseMissingConfig(owner, key);
  return *std::move(defaultValue);
}

/// As extractConfig, for an element that may stand under either of two keys.
template <typename T>
T extractConfig(map_t& working, const std::string& owner, const std::string& key,
                const std::string& alternative, const Converter<T>& converter,
                std::optional<T> defaultValue) {
  const auto found = resolveAlternativeKeys(working, owner, key, alternative);
  if (found) return extractConfigAt(*found, owner, converter);
  if (!defaultValue) refuseMissingConfig(owner, key);
  return *std::move(defaultValue);
}

/// Refuses the first entry in slot order, if any is left: "Unknown configuration element <key> in
/// <owner>". `group` is written before the key: "proxy/" for what is left in the group "proxy".
void checkNoUnknownConfig(const map_t& working, const std::string& owner,
                          const std::string& group = "");

}  // namespace com::corvane::connectivity10_15_0
