// chainhost/host_config.h : the configuration file of "chainhost run".
//
// A YAML or JSON document (JSON when the file's name ends in ".json" or its text is JSON):
//
//   plugin:                     # optional, each of its keys, too
//     class: HTTPClient         #   the suffix of the library's entry points
//     library: libHTTPClient.so #   default: lib<class>.so in ../lib beside the program's folder,
//                               #   else in the program's folder; a relative path starts at the
//                               #   configuration file's folder
//   name: HTTPClient            # the plugin's name, default: its class
//   chainId: chainhost          # default: "chainhost"
//   logLevel: INFO              # of everything: OFF, CRIT, FATAL, ERROR, WARN, INFO, DEBUG, TRACE
//   logLevels:                  # of the categories that begin with a text; the longest one wins
//     connectivity.HTTPClient: DEBUG
//   answerTimeoutSecs: 900      # the run fails when responses are due and none has come for this
//                               # long; 0: never
//   config: {host: 127.0.0.1}   # the plugin's own map, handed over untouched; default: empty
//
// Threads:   immutable after loading.
// Errors:    ConfigError, "FILE: " and the reason: cannot be read: REASON; those of
//            chainhost/json_value.h and chainhost/yaml_value.h; it must be a map; unknown key KEY;
//            KEY must be a string (an integer, a map), not KIND; KEY must not be empty;
//            plugin.class must be a C identifier, not "TEXT"; answerTimeoutSecs must be between
//            0 and 1000000; KEY: "TEXT" is no log level (OFF, CRIT, ...). Nested keys are written
//            as paths: "plugin.library".
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "chainhost/host_values.h"

namespace chainhost {

class ConfigError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct HostConfig {
  std::string className = "HTTPClient";
  std::string libraryPath;
  std::string pluginName;
  std::string chainId = "chainhost";
  std::vector<std::pair<std::string, std::int32_t>> logLevels;  // by category prefix
  std::int64_t answerTimeoutSecs = 900;
  kel_data pluginConfig{};  // a map; borrowed from `document`
  Map document;
};

// Reads and checks a configuration file.
HostConfig loadHostConfig(const std::string& path);

}  // namespace chainhost
