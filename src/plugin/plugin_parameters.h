// plugin/plugin_parameters.h : what the host gives an element at its creation.
//
// Ownership: owns its texts and its map; the handles belong to the host and are kept as they are.
#pragma once

#include <string>

#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

struct PluginParameters {
  std::string chainId;
  std::string pluginName;
  map_t config;
  void* statusHandle;
  void* hostHandle;
};

}  // namespace com::corvane::connectivity10_15_0
