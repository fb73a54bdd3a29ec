#include "transport/live_transports.h"

#include <cstddef>
#include <new>
#include <vector>

#include "runtime/mutex.h"
#include "transport/http_client.h"

namespace com::corvane::connectivity::plugins::live_transports {
namespace {

using orvex::AutoMutex;

struct Registry {
  orvex::Mutex mutex{"LiveTransports"};
  std::vector<HTTPClient*> transports;
};

// Never destroyed: a host may still destroy transports while the process ends. Not on the heap
// either: a host that loads and unloads the library again and again would lose one each time.
Registry& registry() {
  alignas(Registry) static std::byte memory[sizeof(Registry)];
  static Registry* const instance = new (memory) Registry;
  return *instance;
}

void abandonAll() {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  for (HTTPClient* const transport : all.transports) transport->abandon();
}

// Ends what is left when it is destroyed: when the process exits, or the library is unloaded.
struct Ending {
  Ending() noexcept {}  // NOLINT(modernize-use-equals-default): made when control comes by
  ~Ending() { abandonAll(); }
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;
};

// What is made last goes first. The TLS library prepares its own end when it is used first, and
// that must not come before the workers have ended.
void awaitEnd() { static const Ending ending; }
void awaitEndBehindTls() { static const Ending ending; }

}  // namespace

void add(HTTPClient& transport, bool usesTls) {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  all.transports.push_back(&transport);
  usesTls ? awaitEndBehindTls() : awaitEnd();
}

void remove(HTTPClient& transport) {
  Registry& all = registry();
  AutoMutex lock(all.mutex);
  std::erase(all.transports, &transport);
  if (all.transports.empty()) all.transports.shrink_to_fit();
}

}  // namespace com::corvane::connectivity::plugins::live_transports
