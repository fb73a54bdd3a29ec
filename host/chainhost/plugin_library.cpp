#include "chainhost/plugin_library.h"

#include <dlfcn.h>

#include <utility>

namespace chainhost {

namespace {

// Resolves "PREFIX_CLASS" into an entry of its type.
template <class Entry>
void resolve(void* library, const std::string& path, const char* prefix,
             const std::string& className, Entry& entry) {
  const std::string name = std::string(prefix) + "_" + className;
  entry = reinterpret_cast<Entry>(::dlsym(library, name.c_str()));
  if (entry == nullptr) {
    throw PluginUnfit(path + ": does not export " + name);
  }
}

// The loader's reason, which mostly begins with the path, without it.
std::string loadFailure(const std::string& path) {
  const std::string reason = ::dlerror();
  return reason.starts_with(path + ": ") ? reason.substr(path.size() + 2) : reason;
}

void check(std::int32_t status, const char* entryPoint) {
  if (status != 0) {
    throw PluginFailure(std::string("the transport's ") + entryPoint + " failed");
  }
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& path, const std::string& className) {
  void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw PluginUnfit(path + ": cannot be loaded: " + loadFailure(path));
  }
  const auto entry = [&](const char* prefix, auto& place) {
    resolve(library, path, prefix, className, place);
  };
  // First the version: another version may well have other entry points.
  entry("kel_plugin_api_version", entries_.apiVersion);
  const std::int32_t version = entries_.apiVersion();
  if (version != kApiVersion) {
    throw PluginUnfit(path + ": api version " + std::to_string(version) + ", this host needs " +
                      std::to_string(kApiVersion));
  }
  entry("kel_create_plugin_with_params", entries_.create);
  entry("kel_destroy_plugin", entries_.destroy);
  entry("kel_plugin_start", entries_.start);
  entry("kel_plugin_hostReady", entries_.hostReady);
  entry("kel_plugin_shutdown", entries_.shutdown);
  entry("kel_plugin_setNextTowardsHost", entries_.setNextTowardsHost);
  entry("kel_plugin_sendBatchTowardsTransport", entries_.sendBatchTowardsTransport);
  entry("kel_plugin_product_version", entries_.productVersion);
}

Plugin::Plugin(const PluginLibrary& library, const std::string& name, const std::string& chainId,
               const kel_data& config, void* statusHandle, void* hostHandle)
    : entries_(library.entries()),
      handle_(entries_.create(name.c_str(), chainId.c_str(), &config, statusHandle, hostHandle)) {
  if (handle_ == nullptr) {
    throw PluginRefused("the transport refused its configuration; its log line says why");
  }
}

Plugin::~Plugin() { destroy(); }

void Plugin::setNextTowardsHost(void* hostElement, kel_batch_function batch) {
  check(entries_.setNextTowardsHost(handle_, hostElement, batch), "setNextTowardsHost");
}

void Plugin::start() { check(entries_.start(handle_), "start"); }

void Plugin::hostReady() { check(entries_.hostReady(handle_), "hostReady"); }

void Plugin::shutdown() { check(entries_.shutdown(handle_), "shutdown"); }

bool Plugin::destroy() noexcept {
  void* const handle = std::exchange(handle_, nullptr);
  return handle == nullptr || entries_.destroy(handle) == 0;
}

bool Plugin::send(kel_message* first, kel_message* end) {
  return entries_.sendBatchTowardsTransport(handle_, first, end) == 0;
}

}  // namespace chainhost
