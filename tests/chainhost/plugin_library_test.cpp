#include "chainhost/plugin_library.h"

#include <gtest/gtest.h>

#include <string>

#include "chainhost/host_values.h"
#include "support/temp_dir.h"

namespace chainhost {
namespace {

std::string pluginPath(const std::string& name) {
  return std::string(TEST_PLUGIN_FOLDER "/") + name + ".so";
}

std::string refusalOf(const std::string& path, const std::string& className = "HTTPClient") {
  try {
    const PluginLibrary library(path, className);
  } catch (const PluginUnfit& error) {
    return error.what();
  }
  return "no refusal";
}

TEST(PluginLibraryTest, ResolvesEveryEntryPoint) {
  const PluginLibrary library(pluginPath("faultless"), "HTTPClient");

  const PluginLibrary::Entries& entries = library.entries();
  EXPECT_TRUE(entries.create && entries.destroy && entries.start && entries.hostReady &&
              entries.shutdown && entries.setNextTowardsHost && entries.sendBatchTowardsTransport &&
              entries.apiVersion);
  EXPECT_STREQ(entries.productVersion(), "synchronous");
}

TEST(PluginLibraryTest, NamesAMissingFile) {
  EXPECT_EQ(refusalOf("/nowhere/libX.so"),
            "/nowhere/libX.so: cannot be loaded: cannot open shared object file: No such file or "
            "directory");
}

TEST(PluginLibraryTest, NamesAFileThatIsNoLibrary) {
  const std::string path = pluginPath("not_a_library");
  EXPECT_EQ(refusalOf(path), path + ": cannot be loaded: file too short");
}

TEST(PluginLibraryTest, NamesAMissingEntryPoint) {
  const std::string path = pluginPath("missing_entry");
  EXPECT_EQ(refusalOf(path), path + ": does not export kel_plugin_hostReady_HTTPClient");
}

TEST(PluginLibraryTest, NamesAnotherApiVersion) {
  const std::string path = pluginPath("other_api_version");
  EXPECT_EQ(refusalOf(path), path + ": api version 3, this host needs 4");
}

TEST(PluginLibraryTest, NamesAFunctionThatNoHostHas) {
  const std::string path = pluginPath("unknown_host_function");
  EXPECT_EQ(refusalOf(path), path +
                                 ": cannot be loaded: undefined symbol: "
                                 "kel_function_that_no_host_has");
}

TEST(PluginLibraryTest, LooksForTheEntryPointsOfItsClass) {
  const std::string path = pluginPath("faultless");
  EXPECT_EQ(refusalOf(path, "Other"), path + ": does not export kel_plugin_api_version_Other");
}

class PluginTest : public testing::Test {
 protected:
  static Plugin create(const std::string& name) {
    const PluginLibrary library(pluginPath(name), "HTTPClient");
    const Value config = Value::map(Map());
    return Plugin(library, "name", "chain", config.raw(), nullptr, nullptr);
  }

  template <class Step>
  static std::string failureOf(Step step) {
    try {
      step();
    } catch (const PluginFailure& error) {
      return error.what();
    }
    return "no failure";
  }
};

TEST_F(PluginTest, GoesThroughItsLife) {
  Plugin plugin = create("faultless");
  int received = 0;
  plugin.setNextTowardsHost(&received, [](void* element, kel_message* first, kel_message* end) {
    *static_cast<int*>(element) += static_cast<int>(end - first);
  });
  plugin.start();
  plugin.hostReady();
  kel_message messages[3] = {};

  EXPECT_TRUE(plugin.send(messages, messages + 3));

  EXPECT_EQ(received, 3);
  plugin.shutdown();
  EXPECT_TRUE(plugin.destroy());
  EXPECT_TRUE(plugin.destroy());
}

TEST_F(PluginTest, TellsThatCreateRefused) {
  try {
    create("create_fails");
    FAIL() << "created";
  } catch (const PluginRefused& error) {
    EXPECT_STREQ(error.what(), "the transport refused its configuration; its log line says why");
  }
}

TEST_F(PluginTest, TellsWhichEntryPointFailed) {
  const auto ignore = [](void*, kel_message*, kel_message*) {};

  EXPECT_EQ(failureOf([&] { create("set_next_fails").setNextTowardsHost(nullptr, ignore); }),
            "the transport's setNextTowardsHost failed");
  EXPECT_EQ(failureOf([] { create("start_fails").start(); }), "the transport's start failed");
  EXPECT_EQ(failureOf([] { create("host_ready_fails").hostReady(); }),
            "the transport's hostReady failed");
  EXPECT_EQ(failureOf([] { create("shutdown_fails").shutdown(); }),
            "the transport's shutdown failed");
  EXPECT_FALSE(create("send_fails").send(nullptr, nullptr));
  EXPECT_FALSE(create("destroy_fails").destroy());
}

}  // namespace
}  // namespace chainhost
