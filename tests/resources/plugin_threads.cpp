#include "resources/plugin_threads.h"

#include <pthread.h>

#include <cstring>

#include "resources/next_function.h"

namespace test_support {
namespace {

thread_local bool isPlugins = false;

}  // namespace

bool onPluginThread() { return isPlugins; }

PluginScope::PluginScope() : earlier_(isPlugins) { isPlugins = true; }
PluginScope::~PluginScope() { isPlugins = earlier_; }

ExemptScope::ExemptScope() : earlier_(isPlugins) { isPlugins = false; }
ExemptScope::~ExemptScope() { isPlugins = earlier_; }

}  // namespace test_support

// The first thing that a worker does is to take its name.
extern "C" RESOURCES_EXPORT int pthread_setname_np(pthread_t thread, const char* name) noexcept {
  static const auto next =
      test_support::nextFunction<decltype(&pthread_setname_np)>("pthread_setname_np");
  constexpr char kWorker[] = "clientSessionTh";
  if (pthread_equal(thread, pthread_self()) != 0 && std::strcmp(name, kWorker) == 0) {
    test_support::isPlugins = true;
  }
  return next(thread, name);
}
