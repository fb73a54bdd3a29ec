#include "resources/plugin_run.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "model/get.h"
#include "resources/plugin_threads.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::get;
using test_support::ExemptScope;
using test_support::PluginScope;

namespace {

Reply takenApart(Message& message) {
  Reply reply;
  map_t& http = mapAt(message.metadata, "http");
  const data_t& id = at(message.metadata, "requestId");
  if (!id.isEmpty()) reply.id = get<std::int64_t>(id);
  reply.status = get<std::int64_t>(at(http, "statusCode"));
  reply.reason = textAt(http, "statusReason");
  reply.payload = get<buffer_t>(message.payload).view();
  return reply;
}

}  // namespace

PluginRun::PluginRun() {
  // The platform's authorities vouch for no server here, and loading them takes longer than a test.
  setenv("SSL_CERT_FILE", "/dev/null", 1);
  setenv("SSL_CERT_DIR", "/dev/null", 1);
  configure("host", data_t("127.0.0.1"));
  configure("port", data_t(1));
  configure("timeoutSecs", data_t(30));
}

PluginRun::~PluginRun() {
  EXPECT_TRUE(shutdown());
  EXPECT_TRUE(destroy());
  EXPECT_EQ(replies_.size(), static_cast<std::size_t>(requests_)) << "not each answered once";
}

void PluginRun::configure(const char* key, data_t value) {
  const auto found = config_.find(key);
  if (found != config_.end()) config_.erase(found);
  config_.insert(data_t(key), std::move(value));
}

bool PluginRun::create() {
  const data_t config(config_.copy());
  const PluginScope scope;
  plugin_ = kel_create_plugin_with_params_HTTPClient("plugin", "chain", &config.raw(), this, this);
  return plugin_ != nullptr;
}

bool PluginRun::setNextTowardsHost() {
  const PluginScope scope;
  return kel_plugin_setNextTowardsHost_HTTPClient(plugin_, this, &PluginRun::receive) == 0;
}

bool PluginRun::start() {
  const PluginScope scope;
  return kel_plugin_start_HTTPClient(plugin_) == 0;
}

bool PluginRun::shutdown() {
  if (plugin_ == nullptr) return true;
  const PluginScope scope;
  return kel_plugin_shutdown_HTTPClient(plugin_) == 0;
}

bool PluginRun::destroy() {
  if (plugin_ == nullptr) return true;
  const PluginScope scope;
  return kel_destroy_plugin_HTTPClient(std::exchange(plugin_, nullptr)) == 0;
}

void PluginRun::begin() {
  ASSERT_TRUE(create());
  ASSERT_TRUE(setNextTowardsHost());
  ASSERT_TRUE(start());
}

bool PluginRun::send(Message& message) {
  auto* const raw = reinterpret_cast<kel_message*>(&message);
  const bool isTaken = kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, raw, raw + 1) == 0;
  if (isTaken) ++requests_;
  return isTaken;
}

Reply PluginRun::waitForReply(std::int64_t request) {
  const auto index = static_cast<std::size_t>(request);
  std::unique_lock lock(mutex_);
  replied_.wait(lock, [&] { return replies_.size() > index; });
  return replies_[index];
}

Reply PluginRun::perform(RequestMessage request) {
  const std::int64_t id = requests_;
  host_.clearLines();
  host_.clearStatusCalls();
  request.metadata("requestId", data_t(id));
  Message message = request.build();
  EXPECT_TRUE(send(message));
  const Reply reply = waitForReply(id);
  EXPECT_EQ(reply.id, id);
  return reply;
}

std::int64_t PluginRun::replies() {
  const std::lock_guard lock(mutex_);
  return static_cast<std::int64_t>(replies_.size());
}

void PluginRun::receive(void* self, kel_message* first, kel_message* end) {
  const ExemptScope exempt;
  auto& run = *static_cast<PluginRun*>(self);
  for (kel_message* message = first; message != end; ++message) {
    Reply reply = takenApart(reinterpret_cast<Message&>(*message));
    const std::lock_guard lock(run.mutex_);
    run.replies_.push_back(std::move(reply));
    run.replied_.notify_all();
  }
}

}  // namespace com::corvane::connectivity::plugins
