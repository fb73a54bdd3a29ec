// transport/host_fixture.h : a host that drives a transport through the nine functions.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "kel/plugin.h"
#include "support/fake_host.h"
#include "transport/transport_fixture.h"

namespace com::corvane::connectivity::plugins {

class HostFixture : public testing::Test {
 protected:
  HostFixture() { host_.setLogLevel(5); }
  ~HostFixture() override { EXPECT_EQ(destroy(), 0); }

  void create(std::uint16_t port, std::int64_t clients = 1, std::int64_t timeoutSecs = 100'000) {
    map_t map;
    map.insert(data_t("host"), data_t("127.0.0.1"));
    map.insert(data_t("port"), data_t(std::int64_t{port}));
    map.insert(data_t("numClients"), data_t(clients));
    map.insert(data_t("timeoutSecs"), data_t(timeoutSecs));
    addTo(map);
    const data_t config(std::move(map));
    plugin_ =
        kel_create_plugin_with_params_HTTPClient("plugin", "chain", &config.raw(), this, this);
    ASSERT_NE(plugin_, nullptr);
    ASSERT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, this, &HostFixture::receive), 0);
  }

  /// What else the configuration is to say.
  virtual void addTo(map_t&) const {}

  void createAndStart(std::uint16_t port, std::int64_t clients = 1,
                      std::int64_t timeoutSecs = 100'000) {
    create(port, clients, timeoutSecs);
    ASSERT_EQ(start(), 0);
  }

  std::int32_t start() { return kel_plugin_start_HTTPClient(plugin_); }
  std::int32_t shutdown() { return kel_plugin_shutdown_HTTPClient(plugin_); }
  std::int32_t destroy() { return kel_destroy_plugin_HTTPClient(std::exchange(plugin_, nullptr)); }

  std::int32_t deliver(Message message) {
    auto* const raw = reinterpret_cast<kel_message*>(&message);
    return kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, raw, raw + 1);
  }

  /// Delivers requests of the ids [first, end), each for itself.
  void deliverMany(std::int64_t first, std::int64_t end) {
    for (std::int64_t id = first; id < end; ++id) EXPECT_EQ(deliver(request(id)), 0);
  }

  test_support::FakeHost host_;
  Answers answers_;
  std::function<void()> onAnswer_;  // on the worker's thread, after the answer has been noted
  void* plugin_ = nullptr;

 private:
  static void receive(void* self, kel_message* first, kel_message* end) {
    auto& fixture = *static_cast<HostFixture*>(self);
    for (kel_message* message = first; message != end; ++message) {
      fixture.answers_.add(reinterpret_cast<Message&>(*message));
    }
    if (fixture.onAnswer_) fixture.onAnswer_();
  }
};

}  // namespace com::corvane::connectivity::plugins
