// plugin/entry_points.cpp : the nine functions that the host calls. Each calls one operation of the
// element and turns every exception into one line of the log and a result.
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "kel/plugin.h"
#include "model/data.h"
#include "model/get.h"
#include "model/map.h"
#include "plugin/abstract_transport.h"
#include "plugin/logger.h"
#include "plugin/plugin_parameters.h"
#include "plugin/remote_host_side.h"
#include "plugin/transport_factory.h"

namespace {

using namespace com::corvane::connectivity10_15_0;

constexpr std::int32_t kApiVersion = 4;
constexpr const char* kProductVersion = "10.15.0.2";
constexpr std::int32_t kSuccess = 0;
constexpr std::int32_t kFailure = 1;

std::string textOrEmpty(const char* text) { return text == nullptr ? "" : text; }

// The category that an element of these names would log under.
std::string logCategory(const char* pluginName, const char* chainId) {
  return Plugin::logCategory(textOrEmpty(pluginName), textOrEmpty(chainId));
}

// Logs the exception that is being handled.
void logException(const Logger& logger, LogLevel level, const char* entryPoint) noexcept {
  try {
    throw;
  } catch (const std::exception& failure) {
    logger.log(level, "Exception from %s: %s", entryPoint, failure.what());
  } catch (...) {
    logger.log(level, "Unknown exception from %s", entryPoint);
  }
}

// Runs one operation of an element, given as a function of its AbstractTransport.
template <typename Operation>
std::int32_t callElement(void* handle, const char* entryPoint, LogLevel level,
                         const Operation& operation) {
  auto* const plugin = static_cast<Plugin*>(handle);
  try {
    if (plugin == nullptr) throw std::runtime_error("the host gave a null plugin handle");
    operation(static_cast<AbstractTransport&>(*plugin));
    return kSuccess;
  } catch (...) {
    if (plugin == nullptr) {
      // Without names the category is short enough to need no memory.
      logException(Logger(logCategory(nullptr, nullptr)), level, entryPoint);
    } else {
      logException(plugin->getLogger(), level, entryPoint);
    }
    return kFailure;
  }
}

void* create(const char* pluginName, const char* chainId, const kel_data* config,
             void* statusHandle, void* hostHandle) {
  const data_t none;
  const data_t& value = config == nullptr ? none : *reinterpret_cast<const data_t*>(config);
  const map_t& map = get<map_t>(value);
  if (pluginName == nullptr) throw std::runtime_error("the host gave a null plugin name");
  if (chainId == nullptr) throw std::runtime_error("the host gave a null chain id");
  const PluginParameters parameters{chainId, pluginName, map.copy(), statusHandle, hostHandle};
  Plugin* const plugin = createTransport(parameters);
  return plugin;
}

}  // namespace

extern "C" {

std::int32_t kel_plugin_api_version_HTTPClient(void) { return kApiVersion; }

const char* kel_plugin_product_version_HTTPClient(void) { return kProductVersion; }

void* kel_create_plugin_with_params_HTTPClient(const char* pluginName, const char* chainId,
                                               const kel_data* config, void* statusHandle,
                                               void* hostHandle) {
  try {
    std::string category;
    try {
      category = logCategory(pluginName, chainId);  // while there is memory to tell of its end
      return create(pluginName, chainId, config, statusHandle, hostHandle);
    } catch (...) {
      if (category.empty()) category = logCategory(pluginName, chainId);
      logException(Logger(std::move(category)), LogLevel::Error, "create");
    }
  } catch (...) {
    return nullptr;  // logging itself failed: there is nobody left to tell
  }
  return nullptr;
}

std::int32_t kel_destroy_plugin_HTTPClient(void* plugin) {
  try {
    delete static_cast<Plugin*>(plugin);
    return kSuccess;
  } catch (...) {
    return kFailure;
  }
}

std::int32_t kel_plugin_start_HTTPClient(void* plugin) {
  return callElement(plugin, "start", LogLevel::Error,
                     [](AbstractTransport& element) { element.start(); });
}

std::int32_t kel_plugin_hostReady_HTTPClient(void* plugin) {
  return callElement(plugin, "hostReady", LogLevel::Warn,
                     [](AbstractTransport& element) { element.hostReady(); });
}

std::int32_t kel_plugin_shutdown_HTTPClient(void* plugin) {
  return callElement(plugin, "shutdown", LogLevel::Warn,
                     [](AbstractTransport& element) { element.shutdown(); });
}

std::int32_t kel_plugin_setNextTowardsHost_HTTPClient(void* plugin, void* hostElement,
                                                      kel_batch_function batch) {
  return callElement(
      plugin, "setNextTowardsHost", LogLevel::Error, [&](AbstractTransport& element) {
        if (batch == nullptr) {
          throw std::runtime_error("the host gave a null batch function");
        }
        std::unique_ptr<HostSide> next = std::make_unique<RemoteHostSide>(hostElement, batch);
        element.setNextTowardsHost(next);
      });
}

std::int32_t kel_plugin_sendBatchTowardsTransport_HTTPClient(void* plugin, kel_message* first,
                                                             kel_message* end) {
  return callElement(plugin, "sendBatchTowardsTransport", LogLevel::Warn,
                     [&](AbstractTransport& element) {
                       TransportSide& side = element;
                       side.sendBatchTowardsTransport(reinterpret_cast<Message*>(first),
                                                      reinterpret_cast<Message*>(end));
                     });
}

}  // extern "C"
