// The rule for exceptions, which is the same for every entry point but destroy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <ostream>
#include <stdexcept>
#include <string>

#include "plugin/entry_points_fixture.h"

namespace com::corvane::connectivity10_15_0 {

using test_support::FakeHost;
using testing::ElementsAre;
using testing::IsEmpty;

struct EntryPoint {
  const char* name;
  const char* operation;  // of the transport
  int32_t level;
  bool (*fails)(void* plugin, const kel_data* config, void** created);
};

std::ostream& operator<<(std::ostream& out, const EntryPoint& entry) { return out << entry.name; }

class EntryPointFailureTest : public EntryPointsTest,
                              public testing::WithParamInterface<EntryPoint> {
 protected:
  EntryPointFailureTest() { create(); }
  ~EntryPointFailureTest() override {
    script_.during = [](const std::string&) {};
    kel_destroy_plugin_HTTPClient(created_);
  }

  bool fails() { return GetParam().fails(plugin_, &config_.raw(), &created_); }

  std::string lineBegin(const char* words) const {
    return std::string("<connectivity.name.chain> ") + words + " from " + GetParam().name;
  }

  void* created_ = nullptr;
};

TEST_P(EntryPointFailureTest, StandardExceptionIsLoggedOnceAndGivesTheFailureResult) {
  throwFrom(GetParam().operation, std::logic_error("the reason"));

  EXPECT_TRUE(fails());

  EXPECT_THAT(host_.lines(), ElementsAre(FakeHost::Line{"connectivity.name.chain", GetParam().level,
                                                        "<%s> Exception from %s: %s",
                                                        lineBegin("Exception") + ": the reason"}));
}

TEST_P(EntryPointFailureTest, OtherExceptionIsLoggedOnceAndGivesTheFailureResult) {
  throwFrom(GetParam().operation, 42);

  EXPECT_TRUE(fails());

  EXPECT_THAT(host_.lines(), ElementsAre(FakeHost::Line{"connectivity.name.chain", GetParam().level,
                                                        "<%s> Unknown exception from %s",
                                                        lineBegin("Unknown exception")}));
}

TEST_P(EntryPointFailureTest, TextOfAnExceptionIsNotTakenForAFormat) {
  throwFrom(GetParam().operation, std::runtime_error("%s %d %n 100%"));

  EXPECT_TRUE(fails());

  EXPECT_THAT(host_.texts(), ElementsAre(lineBegin("Exception") + ": %s %d %n 100%"));
}

TEST_P(EntryPointFailureTest, FailureOfTheLogDoesNotLeaveTheEntryPoint) {
  throwFrom(GetParam().operation, std::runtime_error("the reason"));

  host_.throwFromLog(std::make_exception_ptr(std::runtime_error("no disk")));
  EXPECT_TRUE(fails());
  host_.throwFromLog(std::make_exception_ptr(42));
  EXPECT_TRUE(fails());
}

TEST_P(EntryPointFailureTest, WithoutAnExceptionNothingIsLogged) {
  host_.setLogLevel(6);

  EXPECT_FALSE(fails());

  EXPECT_THAT(host_.lines(), IsEmpty());
  EXPECT_EQ(script_.calls.back(), GetParam().operation);
}

INSTANTIATE_TEST_SUITE_P(
    Table, EntryPointFailureTest,
    testing::Values(EntryPoint{"create", "construct", 2,
                               [](void*, const kel_data* config, void** created) {
                                 *created = kel_create_plugin_with_params_HTTPClient(
                                     "name", "chain", config, nullptr, nullptr);
                                 return *created == nullptr;
                               }},
                    EntryPoint{"start", "start", 2,
                               [](void* plugin, const kel_data*, void**) {
                                 return kel_plugin_start_HTTPClient(plugin) == 1;
                               }},
                    EntryPoint{"setNextTowardsHost", "setNextTowardsHost", 2,
                               [](void* plugin, const kel_data*, void**) {
                                 return kel_plugin_setNextTowardsHost_HTTPClient(plugin, nullptr,
                                                                                 ignoreBatch) == 1;
                               }},
                    EntryPoint{"hostReady", "hostReady", 3,
                               [](void* plugin, const kel_data*, void**) {
                                 return kel_plugin_hostReady_HTTPClient(plugin) == 1;
                               }},
                    EntryPoint{"shutdown", "shutdown", 3,
                               [](void* plugin, const kel_data*, void**) {
                                 return kel_plugin_shutdown_HTTPClient(plugin) == 1;
                               }},
                    EntryPoint{"sendBatchTowardsTransport", "sendBatchTowardsTransport", 3,
                               [](void* plugin, const kel_data*, void**) {
                                 return kel_plugin_sendBatchTowardsTransport_HTTPClient(
                                            plugin, nullptr, nullptr) == 1;
                               }}),
    [](const auto& tested) { return tested.param.name; });

}  // namespace com::corvane::connectivity10_15_0
