// chainhost/plugin_library.h : a plugin's shared library and one plugin made from it.
//
// Role:      PluginLibrary loads the file and resolves the nine entry points of kel/plugin.h for
//            a class name; Plugin drives one instance through its life: create (constructor),
//            setNextTowardsHost, start, hostReady, batches, shutdown, destroy.
// Threads:   one thread only; but Plugin::send any thread from create to destroy, also while
//            shutdown runs.
// Ownership: the library stays loaded until the process ends, so that a stack trace or a leak
//            report can still name its functions. Plugin destroys what it created.
// Errors:    PluginUnfit: "PATH: cannot be loaded: ...", "PATH: does not export NAME",
//            "PATH: api version N, this host needs 4". PluginRefused when create gives null.
//            PluginFailure: "the transport's start failed" and so on. A plugin logs its reasons.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "kel/plugin.h"

namespace chainhost {

class PluginUnfit : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The transport does not accept its configuration.
class PluginRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// An entry point returned a failure.
class PluginFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr std::int32_t kApiVersion = 4;

class PluginLibrary {
 public:
  // Loads `path` and resolves the entry points of `className`.
  // REQUIRES: a slash in the path; the system would search its own folders for a bare name.
  PluginLibrary(const std::string& path, const std::string& className);

  // The entry points, named after kel/plugin.h; none is null.
  struct Entries {
    decltype(&kel_create_plugin_with_params_HTTPClient) create;
    decltype(&kel_destroy_plugin_HTTPClient) destroy;
    decltype(&kel_plugin_start_HTTPClient) start;
    decltype(&kel_plugin_hostReady_HTTPClient) hostReady;
    decltype(&kel_plugin_shutdown_HTTPClient) shutdown;
    decltype(&kel_plugin_setNextTowardsHost_HTTPClient) setNextTowardsHost;
    decltype(&kel_plugin_sendBatchTowardsTransport_HTTPClient) sendBatchTowardsTransport;
    decltype(&kel_plugin_api_version_HTTPClient) apiVersion;
    decltype(&kel_plugin_product_version_HTTPClient) productVersion;
  };

  const Entries& entries() const noexcept { return entries_; }

 private:
  Entries entries_{};
};

class Plugin {
 public:
  // Creates the plugin. `config` must hold a map and is borrowed for the call; the handles must
  // stay valid as long as the plugin lives.
  Plugin(const PluginLibrary& library, const std::string& name, const std::string& chainId,
         const kel_data& config, void* statusHandle, void* hostHandle);
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  // Destroys the plugin when destroy has not been called.
  ~Plugin();

  void setNextTowardsHost(void* hostElement, kel_batch_function batch);
  void start();
  void hostReady();
  // Blocks until the plugin's workers have ended.
  void shutdown();
  // Ends the plugin's life; a second time: nothing happens. False: the plugin reports a failure.
  bool destroy() noexcept;

  // Sends a batch; blocks while the plugin has no room. False: the plugin reports a failure; what
  // it did not take is still in the array.
  bool send(kel_message* first, kel_message* end);

 private:
  const PluginLibrary::Entries entries_;
  void* handle_;
};

}  // namespace chainhost
