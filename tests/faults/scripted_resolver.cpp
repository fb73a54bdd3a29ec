#include "faults/scripted_resolver.h"

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>
#include <cstring>

namespace test_support {
namespace {

std::atomic<bool> isScripted = false;
std::atomic<int> scriptedError = 0;
std::atomic<std::size_t> scriptedLookUps = 0;

}  // namespace

ScriptedResolver::ScriptedResolver(int error) {
  scriptedError = error;
  scriptedLookUps = 0;
  isScripted = true;
}

ScriptedResolver::~ScriptedResolver() { isScripted = false; }

void ScriptedResolver::setError(int error) { scriptedError = error; }

std::size_t ScriptedResolver::lookUps() const { return scriptedLookUps; }

}  // namespace test_support

// The program's own definition goes before the system's, in the libraries that it uses as well.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  using namespace test_support;
  using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto systemLookUp = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
  const bool isOurs =
      isScripted && name != nullptr && std::strcmp(name, ScriptedResolver::kName) == 0;
  if (!isOurs) return systemLookUp(name, service, hints, result);
  ++scriptedLookUps;
  const int error = scriptedError;
  return error != 0 ? error : systemLookUp("127.0.0.1", service, hints, result);
}
