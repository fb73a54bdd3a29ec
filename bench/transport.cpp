#include "bench/transport.h"

#include <stdexcept>

namespace bench {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

namespace {

void require(std::int32_t result, const char* operation) {
  if (result != 0) {
    throw std::runtime_error(std::string("the transport's ") + operation + " failed");
  }
}

data_t configuration(const TransportOptions& options) {
  map_t map;
  map.insert(data_t("host"), data_t("127.0.0.1"));
  map.insert(data_t("port"), data_t(std::int64_t{options.server.port}));
  map.insert(data_t("numClients"), data_t(options.clients));
  map.insert(data_t("tls"), data_t(options.server.tls));
  map.insert(data_t("tlsCertificateAuthorityFile"), data_t(options.authorityFile));
  return data_t(std::move(map));
}

}  // namespace

Transport::Transport(const test_support::PluginLibrary& library, const TransportOptions& options,
                     Judge& judge)
    : library_(library) {
  const data_t config = configuration(options);
  const char* const name = options.server.tls ? "tls" : "plain";
  plugin_ = library_.create(name, "bench", &config.raw(), this, this);
  require(plugin_ == nullptr ? 1 : 0, "create");
  require(library_.setNextTowardsHost(plugin_, &judge, &Judge::receive), "setNextTowardsHost");
  require(library_.start(plugin_), "start");
  require(library_.hostReady(plugin_), "hostReady");
}

Transport::~Transport() {
  library_.shutdown(plugin_);
  library_.destroy(plugin_);
}

void Transport::send(std::vector<Message>& batch) {
  auto* const messages = reinterpret_cast<kel_message*>(batch.data());
  require(library_.sendBatch(plugin_, messages, messages + batch.size()), "sendBatch");
}

}  // namespace bench
