#include "bench/comparison/plugin_host.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "kel/host_control.h"
#include "model/get.h"
#include "runtime/platform.h"
#include "support/plugin_messages.h"

namespace bench {
namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

Message messageFor(const Work& work, std::uint64_t request) {
  buffer_t body(work.requestBytes);
  std::fill_n(body.data(), work.requestBytes, static_cast<unsigned char>('x'));
  map_t http = test_support::httpMap(work.requestBytes > 0 ? "POST" : "GET", work.target());
  Message message = test_support::requestMessage(static_cast<std::int64_t>(request),
                                                 std::move(http), std::move(body));
  message.metadata.insert(data_t("contentType"), data_t("application/octet-stream"));
  if (work.keys > 0) {
    message.metadata.insert(data_t("concurrencyControlKey"),
                            data_t("key-" + std::to_string(request % work.keys)));
  }
  if (work.flushEvery > 0 && request % work.flushEvery == 0) {
    message.metadata.insert(data_t("concurrencyControlFlush"), data_t(true));
  }
  return message;
}

map_t settingsOf(const Work& work) {
  if (work.authorityFile.empty()) return test_support::settingsFor(work.port, work.connections);
  return test_support::tlsSettingsFor(work.port, work.connections, work.authorityFile);
}

void require(std::int32_t result) {
  if (result != 0) throw std::runtime_error("the plugin refuses an operation");
}

}  // namespace

PluginHost::PluginHost(const Work& work, Measurement& measurement)
    : work_(work),
      measurement_(measurement),
      library_(HTTP_CLIENT_LIBRARY),
      beginNanos_(
          std::max({work.requests, work.warmUp, static_cast<std::uint64_t>(work.connections)})),
      room_(work.underWay == 0 ? kAnyNumber : static_cast<std::ptrdiff_t>(work.underWay)) {
  kel_host_set_log_level("", kel_host_log_level_of("ERROR"));
  const data_t settings(settingsOf(work));
  plugin_ = library_.create("compare", "bench", &settings.raw(), this, this);
  if (plugin_ == nullptr) throw std::runtime_error("the plugin refuses its settings");
  require(library_.setNextTowardsHost(plugin_, this, &PluginHost::receive));
  require(library_.start(plugin_));
  require(library_.hostReady(plugin_));
}

PluginHost::~PluginHost() { end(); }

void PluginHost::end() {
  if (plugin_ == nullptr) return;
  library_.shutdown(plugin_);
  library_.destroy(plugin_);
  plugin_ = nullptr;
}

std::vector<PluginHost::Message> PluginHost::messages(std::uint64_t first,
                                                      std::uint64_t count) const {
  std::vector<Message> messages;
  messages.reserve(count);
  for (std::uint64_t i = first; i < first + count; ++i) messages.push_back(messageFor(work_, i));
  return messages;
}

void PluginHost::deliver(std::vector<Message> messages, const Pace& pace) {
  if (messages.empty()) return;
  const bool isOneByOne = work_.rate > 0 || work_.underWay != 0;
  const std::uint64_t batch = isOneByOne ? 1 : work_.batch;
  const std::uint64_t base = number(messages.front());
  outstanding_ = messages.size();
  for (std::uint64_t first = 0; first < messages.size(); first += batch) {
    const std::uint64_t end = std::min<std::uint64_t>(first + batch, messages.size());
    if (work_.underWay != 0) room_.acquire();
    const std::int64_t nanos = pace.await(first);
    for (std::uint64_t i = first; i < end; ++i) beginNanos_[base + i] = nanos;
    auto* const raw = reinterpret_cast<kel_message*>(messages.data());
    require(library_.sendBatch(plugin_, raw + first, raw + end));
  }
  for (auto left = outstanding_.load(); left != 0; left = outstanding_.load()) {
    outstanding_.wait(left);
  }
}

std::uint64_t PluginHost::number(const Message& message) const {
  return static_cast<std::uint64_t>(
      get<std::int64_t>(message.metadata.find(requestIdKey_).value()));
}

void PluginHost::receive(void* host, kel_message* first, kel_message* end) {
  auto* const answers = reinterpret_cast<Message*>(first);
  for (Message* answer = answers; answer != reinterpret_cast<Message*>(end); ++answer) {
    static_cast<PluginHost*>(host)->take(*answer);
  }
}

void PluginHost::take(const Message& answer) {
  const map_t& http = get<map_t>(answer.metadata.find(httpKey_).value());
  const bool isWanted = get<std::int64_t>(http.find(statusKey_).value()) == 200 &&
                        get<buffer_t>(answer.payload).size() == work_.responseBytes;
  if (!isWanted) measurement_.countFailure();
  if (isWanted && isRecording_) {
    const std::uint64_t request = number(answer);
    const std::int64_t nanos = com::orvex::Platform::monotonicNanos();
    measurement_.record(request, nanos - beginNanos_[request]);
  }
  if (work_.underWay != 0) room_.release();
  if (--outstanding_ == 0) outstanding_.notify_one();
}

}  // namespace bench
