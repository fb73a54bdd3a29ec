#include "plugin/plugin.h"

#include <stdexcept>
#include <utility>

namespace com::corvane::connectivity10_15_0 {

Plugin::Plugin(const PluginParameters& parameters)
    : pluginName(parameters.pluginName),
      chainId(parameters.chainId),
      config(parameters.config.copy()),
      hostHandleHolder_{parameters.hostHandle},
      logger(logCategory(pluginName, chainId)),
      statusReporter_(std::make_unique<StatusReporter>(parameters.statusHandle)) {}

Plugin::Plugin(std::string name, std::string chain, const map_t& configuration, void* hostHandle)
    : pluginName(std::move(name)),
      chainId(std::move(chain)),
      config(configuration.copy()),
      hostHandleHolder_{hostHandle},
      logger(logCategory(pluginName, chainId)) {}

Plugin::~Plugin() noexcept(false) {
  if (statusReporter_) statusReporter_->publishStatusMap();
}

std::string Plugin::logCategory(const std::string& pluginName, const std::string& chainId) {
  return "connectivity." + pluginName + "." + chainId;
}

StatusReporter& Plugin::getStatusReporter() const {
  if (!statusReporter_) {
    throw std::runtime_error("Cannot call getStatusReporter when using the legacy constructor");
  }
  return *statusReporter_;
}

}  // namespace com::corvane::connectivity10_15_0
