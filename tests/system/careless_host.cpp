// A host that leaves with requests in flight: careless_host PORT CA_FILE ENDING. An empty CA_FILE:
// no TLS. It sends eight requests and waits for a byte on descriptor 3. Then, by ENDING, it
//   exit    exits; code 3 when the plugin calls it afterwards
//   busy    sends a thousand more and exits while they are being answered
//   unload  unloads the plugin, waits for another byte and exits; code 3 as for exit
// The exit code is 0 when all goes well.
#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "kel/plugin.h"
#include "model/get.h"
#include "model/message.h"

namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

constexpr std::int64_t kClients = 8;

std::atomic<bool> leaving = false;

void receive(void* /*hostElement*/, kel_message* /*first*/, kel_message* /*end*/) {
  if (leaving) ::_exit(3);
}

data_t configuration(std::int64_t port, const char* authorityFile) {
  map_t map;
  map.insert(data_t("host"), data_t("127.0.0.1"));
  map.insert(data_t("port"), data_t(port));
  map.insert(data_t("numClients"), data_t(kClients));
  map.insert(data_t("timeoutSecs"), data_t(std::int64_t{100'000}));
  if (*authorityFile != '\0') {
    map.insert(data_t("tls"), data_t(true));
    map.insert(data_t("tlsCertificateAuthorityFile"), data_t(authorityFile));
  }
  return data_t(std::move(map));
}

Message request(std::int64_t id) {
  map_t http;
  http.insert(data_t("method"), data_t("GET"));
  http.insert(data_t("path"), data_t("/"));
  Message message;
  message.payload = data_t(buffer_t(0));
  message.metadata.insert(data_t("requestId"), data_t(id));
  message.metadata.insert(data_t("http"), data_t(std::move(http)));
  return message;
}

template <typename Function>
Function* find(void* library, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(library, name));
}

void waitForByte() {
  char byte = 0;
  if (::read(3, &byte, 1) != 1) ::_exit(4);
}

}  // namespace

int main(int /*count*/, char** arguments) {
  void* const library = ::dlopen(HTTP_CLIENT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return 5;
  auto* const create = find<decltype(kel_create_plugin_with_params_HTTPClient)>(
      library, "kel_create_plugin_with_params_HTTPClient");
  auto* const connect = find<decltype(kel_plugin_setNextTowardsHost_HTTPClient)>(
      library, "kel_plugin_setNextTowardsHost_HTTPClient");
  auto* const start =
      find<decltype(kel_plugin_start_HTTPClient)>(library, "kel_plugin_start_HTTPClient");
  auto* const send = find<decltype(kel_plugin_sendBatchTowardsTransport_HTTPClient)>(
      library, "kel_plugin_sendBatchTowardsTransport_HTTPClient");

  // The TLS library comes into use after the first transport, not with it.
  const data_t plain = configuration(std::atoi(arguments[1]), "");
  if (create("plugin", "plain", &plain.raw(), nullptr, nullptr) == nullptr) return 6;
  const data_t config = configuration(std::atoi(arguments[1]), arguments[2]);
  void* const plugin = create("plugin", "chain", &config.raw(), nullptr, nullptr);
  if (plugin == nullptr) return 6;
  connect(plugin, nullptr, &receive);
  start(plugin);
  const auto sendMany = [&](std::int64_t count) {
    for (std::int64_t id = 0; id < count; ++id) {
      Message message = request(id);
      auto* const raw = reinterpret_cast<kel_message*>(&message);
      send(plugin, raw, raw + 1);
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
  ::dlclose(library);
  waitForByte();
  return 0;
}
