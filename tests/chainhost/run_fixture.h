// chainhost/run_fixture.h : what the tests of "chainhost run" share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "chainhost/child_process.h"
#include "support/temp_dir.h"

namespace chainhost {

class RunFixture : public testing::Test {
 protected:
  static std::string pluginPath(const std::string& plugin) {
    return std::string(TEST_PLUGIN_FOLDER "/") + plugin + ".so";
  }

  // A configuration file for a test plugin; `more` is further YAML.
  std::string configFor(const std::string& plugin, const std::string& more = "") {
    return folder_.write("host.yaml", "plugin: {library: " + pluginPath(plugin) + "}\n" + more);
  }

  static std::vector<std::string> runArguments(const std::string& config,
                                               const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {CHAINHOST_PROGRAM, "run", "--config", config};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  // A message line whose answer tells its number.
  static std::string message(int number) {
    return "{\"payload\": \"p\", \"metadata\": {\"requestId\": " + std::to_string(number) + "}}";
  }

  test_support::TempDir folder_;
};

}  // namespace chainhost
