#include "bench/bounds_child.h"

#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include "kel/host_control.h"
#include "model/get.h"
#include "model/message.h"
#include "support/plugin_library.h"
#include "support/plugin_messages.h"

namespace bench {
namespace {

using com::corvane::connectivity10_15_0::buffer_t;
using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::get;
using com::corvane::connectivity10_15_0::map_t;
using com::corvane::connectivity10_15_0::Message;

constexpr std::int32_t kDebug = 5;
constexpr std::int64_t kTimeoutSecs = 300;

// A figure of /proc/self/status, in bytes.
std::uint64_t statusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name + ":")) {
      return std::strtoull(line.c_str() + name.size() + 1, nullptr, 10) * 1024;
    }
  }
  throw std::runtime_error("no " + name + " in /proc/self/status");
}

// From now on the peak is counted anew; where the system does not allow it, what was needed to
// start counts as well.
void forgetPeak() { std::ofstream("/proc/self/clear_refs") << 5; }

void limitAddressSpace(std::uint64_t moreBytes) {
  const rlim_t bytes = statusBytes("VmSize") + moreBytes;
  const rlimit limit{bytes, bytes};
  if (::setrlimit(RLIMIT_AS, &limit) != 0) throw std::runtime_error("setrlimit failed");
}

Message request(std::int64_t id, const char* path, std::uint64_t bytes) {
  // Pages of zeros that nobody has written take no memory.
  buffer_t payload(bytes);
  for (std::uint64_t i = 0; i < bytes; i += 512) payload.data()[i] = 'x';
  return test_support::requestMessage(id, test_support::httpMap("POST", path), std::move(payload));
}

// A transport and the latest of what it answers.
class Probe {
 public:
  Probe(const test_support::PluginLibrary& library, std::uint16_t port, std::int64_t clients)
      : library_(library) {
    map_t settings = test_support::settingsFor(port, clients, kTimeoutSecs);
    settings.insert(data_t("cookieJar"), data_t(true));
    const data_t config(std::move(settings));
    plugin_ = library_.create("plugin", "chain", &config.raw(), this, this);
    if (plugin_ == nullptr) throw std::runtime_error("no transport");
    library_.setNextTowardsHost(plugin_, this, &Probe::receive);
    library_.start(plugin_);
  }
  ~Probe() {
    library_.shutdown(plugin_);
    library_.destroy(plugin_);
  }
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  void send(const char* path, std::uint64_t bytes = 0) {
    Message message = request(sent_++, path, bytes);
    auto* const raw = reinterpret_cast<kel_message*>(&message);
    library_.sendBatch(plugin_, raw, raw + 1);
  }

  /// Waits until all that was sent has been answered.
  void await() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return answered_ == sent_; });
  }

  std::string status() const { return status_; }
  std::string reason() const { return reason_; }

 private:
  static void receive(void* self, kel_message* first, kel_message* end) {
    for (kel_message* message = first; message != end; ++message) {
      static_cast<Probe*>(self)->note(reinterpret_cast<Message&>(*message));
    }
  }

  void note(const Message& message) {
    const auto& http = get<map_t>(message.metadata.find("http").value());
    const std::lock_guard lock(mutex_);
    status_ = std::to_string(get<std::int64_t>(http.find("statusCode").value()));
    reason_ = get<const char*>(http.find("statusReason").value());
    ++answered_;
    changed_.notify_all();
  }

  const test_support::PluginLibrary& library_;
  void* plugin_;
  std::int64_t sent_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::int64_t answered_ = 0;
  std::string status_;
  std::string reason_;
};

// Lets the one who waits know that the transport holds its host back.
class FullQueue {
 public:
  FullQueue() {
    kel_host_set_log_level("", kDebug);
    kel_host_set_log_sink(&FullQueue::receive, this);
  }
  ~FullQueue() { kel_host_set_log_sink(nullptr, nullptr); }
  FullQueue(const FullQueue&) = delete;
  FullQueue& operator=(const FullQueue&) = delete;

  void await() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return full_; });
  }

 private:
  static void receive(void* self, const char*, std::int32_t, const char* text) {
    if (std::string_view(text).find("AffinityQueue is full") == std::string_view::npos) return;
    auto& queue = *static_cast<FullQueue*>(self);
    const std::lock_guard lock(queue.mutex_);
    queue.full_ = true;
    queue.changed_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool full_ = false;
};

// Requests until the host is held back, and some more; then the server answers.
void fillQueue(Probe& probe, FullQueue& queue, const test_support::PluginLibrary& library,
               std::uint16_t port, std::uint64_t itemBytes) {
  constexpr int kRequests = 2048 + 100;
  std::thread host([&] {
    for (int i = 0; i < kRequests; ++i) probe.send(kCasePath, itemBytes);
  });
  queue.await();
  Probe(library, port, 1).send(kReleasePath);
  host.join();
}

// What is still held once the worker has come to rest, or will not give it back.
std::uint64_t keptBytes(std::uint64_t idleBytes) {
  constexpr std::uint64_t kRestBytes = 8 * 1024 * 1024;
  std::uint64_t bytes = statusBytes("VmRSS");
  for (int i = 0; i < 200 && bytes > idleBytes + kRestBytes; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    bytes = statusBytes("VmRSS");
  }
  return bytes - std::min(bytes, idleBytes);
}

}  // namespace

std::string BoundsResult::text() const {
  return std::to_string(peakBytes) + ' ' + std::to_string(keptBytes) + ' ' +
         std::to_string(usedBytes) + ' ' + nextStatus + ' ' + status + ' ' + reason + '\n';
}

BoundsResult BoundsResult::parse(const std::string& text) {
  BoundsResult result;
  std::istringstream words(text);
  words >> result.peakBytes >> result.keptBytes >> result.usedBytes >> result.nextStatus >>
      result.status;
  std::getline(words >> std::ws, result.reason);
  return result;
}

BoundsResult measureCase(const BoundsCase& tested, const BoundsScale& scale, std::uint16_t port) {
  const test_support::PluginLibrary library(HTTP_CLIENT_LIBRARY);
  FullQueue queue;
  Probe probe(library, port, 1);
  probe.send("/");
  probe.await();
  forgetPeak();
  const std::uint64_t idleBytes = statusBytes("VmRSS");
  if (tested.addressSpaceBytes > 0) limitAddressSpace(tested.addressSpaceBytes);

  if (tested.fillsQueue) {
    fillQueue(probe, queue, library, port, scale.itemBytes);
  } else {
    for (std::uint64_t i = 0; i < tested.requests; ++i) probe.send(kCasePath);
  }
  probe.await();
  BoundsResult result;
  result.status = probe.status();
  result.reason = probe.reason();
  result.keptBytes = keptBytes(idleBytes);
  result.peakBytes = statusBytes("VmHWM") - idleBytes;
  ::malloc_trim(0);
  result.usedBytes = keptBytes(idleBytes);
  probe.send("/");
  probe.await();
  result.nextStatus = probe.status();
  return result;
}

}  // namespace bench
