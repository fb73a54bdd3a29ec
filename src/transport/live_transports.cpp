#include "transport/live_transports.h"

#include <cstdlib>
#include <vector>

#include "runtime/mutex.h"
#include "transport/http_client.h"

namespace com::corvane::connectivity::plugins::live_transports {
namespace {

using orvex::AutoMutex;

struct Registry {
  orvex::Mutex mutex{"LiveTransports"};
  std::vector<HTTPClient*> transports;
  bool hooked = false;
  bool hookedBehindTls = false;
};

// Never destroyed: a host may still destroy transports while the process ends.
Registry& registry() {
  static Registry* const instance = new Registry;
  return *instance;
}

void abandonAll() {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  for (HTTPClient* const transport : all.transports) transport->abandon();
}

// Handlers run in the opposite order of their registration. The TLS library registers its own when
// it is used first, and that one must not run before the workers have ended.
void hook(bool& done) {
  if (!done) done = std::atexit(&abandonAll) == 0;
}

}  // namespace

void add(HTTPClient& transport, bool usesTls) {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  all.transports.push_back(&transport);
  hook(usesTls ? all.hookedBehindTls : all.hooked);
}

void remove(HTTPClient& transport) {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  std::erase(all.transports, &transport);
}

}  // namespace com::corvane::connectivity::plugins::live_transports
