// plugin/entry_points_fixture.h : a host that drives the entry points over a stub transport.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kel/plugin.h"
#include "model/data.h"
#include "model/map.h"
#include "plugin/stub_transport.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity10_15_0 {

/// A host's batch function that does nothing.
inline void ignoreBatch(void* /*hostElement*/, kel_message* /*first*/, kel_message* /*end*/) {}

class EntryPointsTest : public testing::Test {
 protected:
  EntryPointsTest() {
    map_t map;
    map.insert(data_t("host"), data_t("example"));
    config_ = data_t(std::move(map));
  }

  ~EntryPointsTest() override {
    script_.during = [](const std::string&) {};
    kel_destroy_plugin_HTTPClient(plugin_);
  }

  void* createWith(const kel_data* config) {
    return kel_create_plugin_with_params_HTTPClient("name", "chain", config, &statusHandle_,
                                                    &hostHandle_);
  }

  void create() {
    plugin_ = createWith(&config_.raw());
    ASSERT_NE(plugin_, nullptr);
  }

  // From now on the named operation throws.
  template <typename Failure>
  void throwFrom(const std::string& operation, Failure failure) {
    script_.during = [=](const std::string& running) {
      if (running == operation) throw failure;
    };
  }

  test_support::FakeHost host_;
  test_support::StubScript script_;
  data_t config_;
  int statusHandle_ = 0;
  int hostHandle_ = 0;
  void* plugin_ = nullptr;
};

}  // namespace com::corvane::connectivity10_15_0
