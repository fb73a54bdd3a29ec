// abi/boundary_fixture.h : the built plugin between a strict host and the test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "abi/laid_out_values.h"
#include "abi/strict_host.h"
#include "support/plugin_library.h"

namespace test_support {

/// At the end of each test the plugin is destroyed and has to have given everything back.
class BoundaryFixture : public testing::Test {
 protected:
  ~BoundaryFixture() override {
    library_.destroy(plugin_);
    releaseValue(config_);
    EXPECT_EQ(host_.live(), 0u);
    EXPECT_EQ(host_.wrongReleases(), 0u);
  }

  /// Creates "name" in "chain"; the configuration is given back at the end.
  void create(kel_data config) {
    config_ = config;
    host_.clearCalls();
    plugin_ = library_.create("name", "chain", &config_, host_.statusHandle(), host_.hostHandle());
  }

  /// The calls that begin with `begin`.
  std::vector<std::string> callsOf(const std::string& begin) const {
    std::vector<std::string> calls = host_.calls();
    std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(begin); });
    return calls;
  }

  const PluginLibrary library_{HTTP_CLIENT_LIBRARY};
  StrictHost host_;
  kel_data config_{};
  void* plugin_ = nullptr;
};

}  // namespace test_support
