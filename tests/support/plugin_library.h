// support/plugin_library.h : the built plugin as a host loads it: nine functions, found by name.
//
// Ownership: it stays loaded, so that leak reports have names, unless it is unloaded.
// Errors: std::runtime_error with the loader's words.
#pragma once

#include <dlfcn.h>

#include <stdexcept>

#include "kel/plugin.h"

namespace test_support {

class PluginLibrary {
  void* library_;

 public:
  explicit PluginLibrary(const char* file) : library_(::dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) throw std::runtime_error(::dlerror());
  }

  /// Takes it out of the process. Its functions must not be called any more.
  void unload() const {
    if (::dlclose(library_) != 0) throw std::runtime_error(::dlerror());
  }

  template <typename Function>
  Function* find(const char* name) const {
    void* const symbol = ::dlsym(library_, name);
    if (symbol == nullptr) throw std::runtime_error(::dlerror());
    return reinterpret_cast<Function*>(symbol);
  }

  decltype(kel_create_plugin_with_params_HTTPClient)* create =
      find<decltype(kel_create_plugin_with_params_HTTPClient)>(
          "kel_create_plugin_with_params_HTTPClient");
  decltype(kel_plugin_api_version_HTTPClient)* apiVersion =
      find<decltype(kel_plugin_api_version_HTTPClient)>("kel_plugin_api_version_HTTPClient");
  decltype(kel_plugin_product_version_HTTPClient)* productVersion =
      find<decltype(kel_plugin_product_version_HTTPClient)>(
          "kel_plugin_product_version_HTTPClient");
  decltype(kel_destroy_plugin_HTTPClient)* destroy =
      find<decltype(kel_destroy_plugin_HTTPClient)>("kel_destroy_plugin_HTTPClient");
  decltype(kel_plugin_start_HTTPClient)* start =
      find<decltype(kel_plugin_start_HTTPClient)>("kel_plugin_start_HTTPClient");
  decltype(kel_plugin_hostReady_HTTPClient)* hostReady =
      find<decltype(kel_plugin_hostReady_HTTPClient)>("kel_plugin_hostReady_HTTPClient");
  decltype(kel_plugin_shutdown_HTTPClient)* shutdown =
      find<decltype(kel_plugin_shutdown_HTTPClient)>("kel_plugin_shutdown_HTTPClient");
  decltype(kel_plugin_setNextTowardsHost_HTTPClient)* setNextTowardsHost =
      find<decltype(kel_plugin_setNextTowardsHost_HTTPClient)>(
          "kel_plugin_setNextTowardsHost_HTTPClient");
  decltype(kel_plugin_sendBatchTowardsTransport_HTTPClient)* sendBatch =
      find<decltype(kel_plugin_sendBatchTowardsTransport_HTTPClient)>(
          "kel_plugin_sendBatchTowardsTransport_HTTPClient");
};

}  // namespace test_support
