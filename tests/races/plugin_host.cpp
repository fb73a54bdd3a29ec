#include "races/plugin_host.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <utility>

#include "model/get.h"

namespace races {

using com::corvane::connectivity10_15_0::get;

namespace {

constexpr std::int32_t kDebug = 5;

std::size_t entriesOf(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

void Answers::add(const Message& message) {
  const auto& http = get<map_t>(message.metadata.find("http").value());
  Answer answer{get<std::int64_t>(message.metadata.find("requestId").value()),
                get<std::int64_t>(http.find("statusCode").value()),
                get<const char*>(http.find("statusReason").value())};
  const std::lock_guard lock(mutex_);
  answers_.push_back(std::move(answer));
  changed_.notify_all();
}

void Answers::waitFor(std::size_t count) const {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return answers_.size() >= count; });
}

std::vector<Answers::Answer> Answers::all() const {
  const std::lock_guard lock(mutex_);
  return answers_;
}

HostedTransport::HostedTransport(const test_support::PluginLibrary& library, map_t settings)
    : library_(library) {
  const data_t config(std::move(settings));
  plugin_ = library_.create("plugin", "chain", &config.raw(), this, this);
  EXPECT_NE(plugin_, nullptr);
  EXPECT_EQ(library_.setNextTowardsHost(plugin_, this, &HostedTransport::receive), 0);
}

void HostedTransport::start() { EXPECT_EQ(library_.start(plugin_), 0); }

void HostedTransport::send(std::int64_t id, const std::string& path) {
  Message message = test_support::requestMessage(id, test_support::httpMap("GET", path));
  auto* const raw = reinterpret_cast<kel_message*>(&message);
  EXPECT_EQ(library_.sendBatch(plugin_, raw, raw + 1), 0);
}

void HostedTransport::shutdown() { EXPECT_EQ(library_.shutdown(plugin_), 0); }

void HostedTransport::destroy() {
  if (plugin_ == nullptr) return;
  EXPECT_EQ(library_.destroy(std::exchange(plugin_, nullptr)), 0);
  kel_host_set_shutting_down(this, false);
}

std::vector<std::string> HostedTransport::statusItems() {
  std::vector<std::string> items;
  kel_host_visit_status(
      this,
      [](void* all, const kel_host_status_item* item) {
        static_cast<std::vector<std::string>*>(all)->push_back(std::string(item->key) + " = " +
                                                               item->value);
      },
      &items);
  return items;
}

void HostedTransport::receive(void* self, kel_message* first, kel_message* end) {
  for (kel_message* message = first; message != end; ++message) {
    static_cast<HostedTransport*>(self)->answers_.add(reinterpret_cast<Message&>(*message));
  }
}

HandledRequests::HandledRequests() {
  kel_host_set_log_level("", kDebug);
  kel_host_set_log_sink(&HandledRequests::receive, this);
}

HandledRequests::~HandledRequests() { kel_host_set_log_sink(nullptr, nullptr); }

std::multiset<std::string> HandledRequests::all() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

void HandledRequests::clear() {
  const std::lock_guard lock(mutex_);
  targets_.clear();
}

void HandledRequests::receive(void* self, const char* /*category*/, std::int32_t /*level*/,
                              const char* text) {
  auto& handled = *static_cast<HandledRequests*>(self);
  const std::string line(text);
  constexpr char kBegin[] = "Handling a request for GET path ";
  const std::size_t begin = line.find(kBegin);
  if (begin == std::string::npos) return;
  const std::lock_guard lock(handled.mutex_);
  handled.targets_.insert(line.substr(begin + sizeof kBegin - 1));
}

void withoutPlatformAuthorities() {
  ::setenv("SSL_CERT_FILE", "/nonexistent", 1);
  ::setenv("SSL_CERT_DIR", "/nonexistent", 1);
}

std::size_t openDescriptors() { return entriesOf("/proc/self/fd"); }

std::size_t threads() { return entriesOf("/proc/self/task"); }

void waitForThreads(std::size_t count) {
  while (threads() > count) ::sched_yield();
}

int roundsOr(int rounds) {
  const char* const wanted = std::getenv("RACES_ROUNDS");
  return wanted == nullptr ? rounds : std::atoi(wanted);
}

}  // namespace races
