#include "bench/comparison/plugin_run.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/comparison/pace.h"
#include "kel/host_control.h"
#include "model/get.h"
#include "model/map_key.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"

namespace bench {
namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::MapKey;
using com::corvane::connectivity10_15_0::Message;
using com::orvex::Platform;

constexpr std::ptrdiff_t kAnyNumber = 1'000'000'000;

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

std::vector<Message> messagesFor(const Work& work, std::uint64_t count) {
  std::vector<Message> messages;
  messages.reserve(count);
  for (std::uint64_t i = 0; i < count; ++i) messages.push_back(messageFor(work, i));
  return messages;
}

map_t settingsOf(const Work& work) {
  if (work.authorityFile.empty()) return test_support::settingsFor(work.port, work.connections);
  return test_support::tlsSettingsFor(work.port, work.connections, work.authorityFile);
}

// The host: one transport, and the function that takes its answers.
class Host {
 public:
  Host(const Work& work, Measurement& measurement)
      : work_(work),
        measurement_(measurement),
        beginNanos_(std::max(work.requests, work.warmUp)),
        room_(work.underWay == 0 ? kAnyNumber : static_cast<std::ptrdiff_t>(work.underWay)) {
    kel_host_set_log_level("", kel_host_log_level_of("ERROR"));
    const data_t settings(settingsOf(work));
    plugin_ = library_.create("compare", "bench", &settings.raw(), this, this);
    if (plugin_ == nullptr) throw std::runtime_error("the plugin refuses its settings");
    require(library_.setNextTowardsHost(plugin_, this, &Host::receive));
    require(library_.start(plugin_));
    require(library_.hostReady(plugin_));
  }
  ~Host() {
    library_.shutdown(plugin_);
    library_.destroy(plugin_);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // As many at a time as connections: each worker gets one to begin with.
  void warmUp() {
    std::vector<Message> messages = messagesFor(work_, work_.warmUp);
    deliver(messages, Pace(0));
    if (measurement_.failures() != 0) throw std::runtime_error("the warm-up has failed");
  }

  void run() {
    std::vector<Message> messages = messagesFor(work_, work_.requests);
    isMeasured_ = true;
    measurement_.begin();
    deliver(messages, Pace(work_.rate));
    measurement_.end();
  }

 private:
  static void require(std::int32_t result) {
    if (result != 0) throw std::runtime_error("the plugin refuses an operation");
  }

  static void receive(void* host, kel_message* first, kel_message* end) {
    auto* const answers = reinterpret_cast<Message*>(first);
    for (Message* answer = answers; answer != reinterpret_cast<Message*>(end); ++answer) {
      static_cast<Host*>(host)->take(*answer);
    }
  }

  // In turn: the transport delivers one answer at a time.
  void take(const Message& answer) {
    const map_t& http = get<map_t>(answer.metadata.find(httpKey_).value());
    const bool isWanted = get<std::int64_t>(http.find(statusKey_).value()) == 200 &&
                          get<buffer_t>(answer.payload).size() == work_.responseBytes;
    if (!isWanted) measurement_.countFailure();
    const auto request =
        static_cast<std::uint64_t>(get<std::int64_t>(answer.metadata.find(requestIdKey_).value()));
    if (isMeasured_)
      measurement_.record(request, Platform::monotonicNanos() - beginNanos_[request]);
    if (work_.underWay != 0) room_.release();
    if (--outstanding_ == 0) outstanding_.notify_one();
  }

  void deliver(std::vector<Message>& messages, const Pace& pace) {
    const bool oneByOne = work_.rate > 0 || work_.underWay != 0;
    const std::uint64_t batch = oneByOne ? 1 : work_.batch;
    outstanding_ = messages.size();
    for (std::uint64_t first = 0; first < messages.size(); first += batch) {
      const std::uint64_t end = std::min<std::uint64_t>(first + batch, messages.size());
      if (work_.underWay != 0) room_.acquire();
      const std::int64_t nanos = pace.await(first);
      for (std::uint64_t i = first; i < end; ++i) beginNanos_[i] = nanos;
      auto* const raw = reinterpret_cast<kel_message*>(messages.data());
      require(library_.sendBatch(plugin_, raw + first, raw + end));
    }
    for (auto left = outstanding_.load(); left != 0; left = outstanding_.load()) {
      outstanding_.wait(left);
    }
  }

  const Work& work_;
  Measurement& measurement_;
  const MapKey httpKey_{"http"};
  const MapKey statusKey_{"statusCode"};
  const MapKey requestIdKey_{"requestId"};
  const test_support::PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  void* plugin_ = nullptr;
  bool isMeasured_ = false;
  std::vector<std::int64_t> beginNanos_;  // by request; since when its latency counts
  std::counting_semaphore<kAnyNumber> room_;
  std::atomic<std::uint64_t> outstanding_ = 0;
};

}  // namespace

void runPlugin(const Work& work, Measurement& measurement) {
  Host host(work, measurement);
  host.warmUp();
  host.run();
}

}  // namespace bench
