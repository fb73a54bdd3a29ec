// plugin/plugin.h : what every element of a chain is: names, configuration, log, status.
//
// Role:      the entry points call its virtual operations on the handle that the host keeps, which
//            is the address of this base.
// Threads:   constant after construction, the reporter's map apart.
// Ownership: owns its copy of the configuration and the status reporter; the handles are the
//            host's.
// Errors:    getStatusReporter; the destructor may throw what the host's status call throws.
// Invariants: this stands at the start of every element, and its virtual operations keep their
//            order: destructor, start, hostReady, shutdown.
#pragma once

#include <memory>
#include <string>

#include "model/map.h"
#include "plugin/logger.h"
#include "plugin/plugin_parameters.h"
#include "plugin/status_reporter.h"

namespace com::corvane::connectivity10_15_0 {

class Plugin {
 public:
  /// Copies names and configuration, and makes logger and status reporter.
  explicit Plugin(const PluginParameters& parameters);

  /// The older construction, without a status handle: such an element has no status reporter.
  Plugin(std::string pluginName, std::string chainId, const map_t& config, void* hostHandle);

  /// Publishes the status map unless it is empty.
  virtual ~Plugin() noexcept(false);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  virtual void start() {}
  virtual void hostReady() {}
  virtual void shutdown() {}

  /// "connectivity." + plugin name + "." + chain id: the category of an element's lines.
  static std::string logCategory(const std::string& pluginName, const std::string& chainId);

  const Logger& getLogger() const { return logger; }

  /// Throws std::runtime_error "Cannot call getStatusReporter when using the legacy constructor".
  StatusReporter& getStatusReporter() const;

 private:
  // What the host's functions for the element as a whole are given.
  struct HostHandle {
    void* handle;
  };

 protected:
  void* hostHandle() const { return hostHandleHolder_.handle; }

  const std::string pluginName;
  const std::string chainId;
  const map_t config;

 private:
  const HostHandle hostHandleHolder_;

 protected:
  const Logger logger;

 private:
  const std::unique_ptr<StatusReporter> statusReporter_;
};

}  // namespace com::corvane::connectivity10_15_0
