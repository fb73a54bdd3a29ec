// A host that leaves with requests in flight: careless_host PORT CA_FILE ENDING. An empty CA_FILE:
// no TLS. It sends eight requests and waits for a byte on descriptor 3. Then, by ENDING, it
//   exit    exits; code 3 when the plugin calls it afterwards
//   busy    sends a thousand more and exits while they are being answered
//   unload  unloads the plugin, waits for another byte and exits; code 3 as for exit
// The exit code is 0 when all goes well.
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kel/plugin.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"

namespace {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::Message;

constexpr std::int64_t kClients = 8;

std::atomic<bool> leaving = false;

void receive(void* /*hostElement*/, kel_message* /*first*/, kel_message* /*end*/) {
  if (leaving) ::_exit(3);
}

data_t configuration(std::uint16_t port, const char* authorityFile) {
  return *authorityFile == '\0' ? test_support::settingsFor(port, kClients)
                                : test_support::tlsSettingsFor(port, kClients, authorityFile);
}

void waitForByte() {
  char byte = 0;
  if (::read(3, &byte, 1) != 1) ::_exit(4);
}

}  // namespace

int main(int /*count*/, char** arguments) {
  const test_support::PluginLibrary library(HTTP_CLIENT_LIBRARY);
  const auto port = static_cast<std::uint16_t>(std::atoi(arguments[1]));

  // The TLS library comes into use after the first transport, not with it.
  const data_t plain = configuration(port, "");
  if (library.create("plugin", "plain", &plain.raw(), nullptr, nullptr) == nullptr) return 6;
  const data_t config = configuration(port, arguments[2]);
  void* const plugin = library.create("plugin", "chain", &config.raw(), nullptr, nullptr);
  if (plugin == nullptr) return 6;
  library.setNextTowardsHost(plugin, nullptr, &receive);
  library.start(plugin);
  const auto sendMany = [&](std::int64_t count) {
    for (std::int64_t id = 0; id < count; ++id) {
      Message message = test_support::requestMessage(id, test_support::httpMap("GET", "/"));
      auto* const raw = reinterpret_cast<kel_message*>(&message);
      library.sendBatch(plugin, raw, raw + 1);
    }
  };
  sendMany(kClients);

  waitForByte();
  const std::string ending = arguments[3];
  if (ending == "busy") {
    sendMany(1000);
    std::exit(0);
  }
  leaving = true;
  if (ending == "exit") std::exit(0);
  library.unload();
  waitForByte();
  return 0;
}
