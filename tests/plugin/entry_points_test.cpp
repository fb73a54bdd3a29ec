// The entry points over a transport that does what the test says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/data.h"
#include "model/get.h"
#include "model/map.h"
#include "plugin/allocation_counter.h"
#include "plugin/entry_points_fixture.h"

namespace com::corvane::connectivity10_15_0 {

using test_support::FakeHost;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

kel_data valueOf(int32_t tag) {
  kel_data value{};
  value.tag = tag;
  return value;
}

}  // namespace

// ---- Versions

TEST_F(EntryPointsTest, ApiVersionIsFourInEveryState) {
  EXPECT_EQ(kel_plugin_api_version_HTTPClient(), 4);
  create();
  EXPECT_EQ(kel_plugin_api_version_HTTPClient(), 4);
  kel_plugin_start_HTTPClient(plugin_);
  kel_plugin_shutdown_HTTPClient(plugin_);
  EXPECT_EQ(kel_plugin_api_version_HTTPClient(), 4);
}

TEST_F(EntryPointsTest, ProductVersionIsTheSameTextInEveryState) {
  const char* const before = kel_plugin_product_version_HTTPClient();
  create();

  EXPECT_STREQ(before, "10.15.0.2");
  EXPECT_EQ(kel_plugin_product_version_HTTPClient(), before);
}

TEST_F(EntryPointsTest, VersionQueriesDoNotTouchTheHost) {
  kel_plugin_api_version_HTTPClient();
  kel_plugin_product_version_HTTPClient();

  EXPECT_THAT(host_.levelQueries(), IsEmpty());
  EXPECT_THAT(host_.lines(), IsEmpty());
  EXPECT_THAT(script_.calls, IsEmpty());
}

// ---- Create

TEST_F(EntryPointsTest, CreateGivesTheTransportWhatTheHostGave) {
  create();

  EXPECT_EQ(script_.created->pluginName, "name");
  EXPECT_EQ(script_.created->chainId, "chain");
  EXPECT_EQ(script_.created->hostHandle(), &hostHandle_);
  const auto item = script_.created->getStatusReporter().createItem("k", "v");
  EXPECT_EQ(host_.statusCalls()[0].statusHandle, &statusHandle_);
}

TEST_F(EntryPointsTest, HandleIsTheAddressOfTheTransport) {
  create();

  EXPECT_EQ(plugin_, static_cast<void*>(script_.created));
}

TEST_F(EntryPointsTest, CreateCopiesTheConfigurationDeeply) {
  create();

  const map_t& copy = script_.created->config;
  ASSERT_EQ(copy.size(), 1u);
  EXPECT_STREQ(get<const char*>(copy.begin().value()), "example");
  const map_t& original = get<map_t>(config_);
  EXPECT_NE(copy.raw(), original.raw());
  EXPECT_NE(get<const char*>(copy.begin().value()), get<const char*>(original.begin().value()));
}

TEST_F(EntryPointsTest, CreateLeavesTheConfigurationToTheHost) {
  create();

  const map_t& original = get<map_t>(config_);
  ASSERT_EQ(original.size(), 1u);
  EXPECT_STREQ(get<const char*>(original.begin().key()), "host");
  EXPECT_STREQ(get<const char*>(original.begin().value()), "example");
}

TEST_F(EntryPointsTest, NullBlockIsAnEmptyConfiguration) {
  const kel_data empty = valueOf(KEL_TAG_MAP);

  plugin_ = createWith(&empty);

  ASSERT_NE(plugin_, nullptr);
  EXPECT_TRUE(script_.created->config.empty());
}

TEST_F(EntryPointsTest, EmptyNamesAreNames) {
  plugin_ = kel_create_plugin_with_params_HTTPClient("", "", &config_.raw(), nullptr, nullptr);

  ASSERT_NE(plugin_, nullptr);
  EXPECT_EQ(script_.created->getLogger().category(), "connectivity..");
}

TEST_F(EntryPointsTest, SuccessfulCreateWritesNoLine) {
  host_.setLogLevel(6);

  create();

  EXPECT_THAT(host_.lines(), IsEmpty());
}

struct BadConfiguration {
  const char* name;
  int32_t tag;
  const char* text;
};

class BadConfigurationTest : public EntryPointsTest,
                             public testing::WithParamInterface<BadConfiguration> {};

TEST_P(BadConfigurationTest, GivesNullAndOneLineUnderTheCategoryOfTheElement) {
  const kel_data config = valueOf(GetParam().tag);

  void* const plugin = createWith(&config);

  EXPECT_EQ(plugin, nullptr);
  EXPECT_THAT(script_.calls, IsEmpty());
  EXPECT_THAT(host_.lines(), ElementsAre(FakeHost::Line{
                                 "connectivity.name.chain", 2, "<%s> Exception from %s: %s",
                                 std::string("<connectivity.name.chain> Exception from create: ") +
                                     GetParam().text}));
  EXPECT_THAT(host_.levelQueries(), ElementsAre("connectivity.name.chain"));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, BadConfigurationTest,
    testing::Values(
        BadConfiguration{"Empty", KEL_TAG_EMPTY, "Get from empty"},
        BadConfiguration{"Boolean", KEL_TAG_BOOLEAN,
                         "Incorrect type in get (you asked for map but it's actually boolean)"},
        BadConfiguration{"Double", KEL_TAG_DOUBLE,
                         "Incorrect type in get (you asked for map but it's actually double)"},
        BadConfiguration{"Integer", KEL_TAG_INTEGER,
                         "Incorrect type in get (you asked for map but it's actually integer)"},
        BadConfiguration{"List", KEL_TAG_LIST,
                         "Incorrect type in get (you asked for map but it's actually list)"},
        BadConfiguration{"Buffer", KEL_TAG_BUFFER,
                         "Incorrect type in get (you asked for map but it's actually buffer)"}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(EntryPointsTest, StringAsConfigurationGivesNullAndTheTypeError) {
  const data_t text("host=example");

  void* const plugin = createWith(&text.raw());

  EXPECT_EQ(plugin, nullptr);
  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity.name.chain> Exception from create: Incorrect type in get "
                          "(you asked for map but it's actually string)"));
}

TEST_F(EntryPointsTest, NullConfigurationPointerReadsAsEmpty) {
  EXPECT_EQ(createWith(nullptr), nullptr);

  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity.name.chain> Exception from create: Get from empty"));
}

TEST_F(EntryPointsTest, NullNamesReadAsEmptyInTheLineOfTheFailure) {
  EXPECT_EQ(kel_create_plugin_with_params_HTTPClient(nullptr, nullptr, nullptr, nullptr, nullptr),
            nullptr);

  EXPECT_THAT(host_.lines(),
              ElementsAre(FakeHost::Line{"connectivity..", 2, "<%s> Exception from %s: %s",
                                         "<connectivity..> Exception from create: Get from "
                                         "empty"}));
}

TEST_F(EntryPointsTest, NullPluginNameIsRefused) {
  EXPECT_EQ(
      kel_create_plugin_with_params_HTTPClient(nullptr, "chain", &config_.raw(), nullptr, nullptr),
      nullptr);

  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity..chain> Exception from create: the host gave a null "
                          "plugin name"));
}

TEST_F(EntryPointsTest, NullChainIdIsRefused) {
  EXPECT_EQ(
      kel_create_plugin_with_params_HTTPClient("name", nullptr, &config_.raw(), nullptr, nullptr),
      nullptr);

  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity.name.> Exception from create: the host gave a null chain "
                          "id"));
}

TEST_F(EntryPointsTest, FailedConstructionGivesNullAndItsText) {
  throwFrom("construct", std::runtime_error("HTTPClient configuration tls must be a boolean"));

  EXPECT_EQ(createWith(&config_.raw()), nullptr);

  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity.name.chain> Exception from create: HTTPClient "
                          "configuration tls must be a boolean"));
}

TEST_F(EntryPointsTest, FailureIsNotWrittenBelowTheLevelOfTheHost) {
  host_.setLogLevel(1);

  EXPECT_EQ(createWith(nullptr), nullptr);

  EXPECT_THAT(host_.lines(), IsEmpty());
}

TEST_F(EntryPointsTest, FailureOfTheLogDoesNotLeaveCreate) {
  host_.throwFromLog(std::make_exception_ptr(std::bad_alloc()));

  EXPECT_EQ(createWith(nullptr), nullptr);
}

// ---- Operations

TEST_F(EntryPointsTest, EachOperationIsCalledOnceAndGivesZero) {
  create();

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, nullptr, ignoreBatch), 0);
  EXPECT_EQ(kel_plugin_start_HTTPClient(plugin_), 0);
  EXPECT_EQ(kel_plugin_hostReady_HTTPClient(plugin_), 0);
  EXPECT_EQ(kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, nullptr, nullptr), 0);
  EXPECT_EQ(kel_plugin_shutdown_HTTPClient(plugin_), 0);
  EXPECT_EQ(kel_destroy_plugin_HTTPClient(plugin_), 0);
  plugin_ = nullptr;

  EXPECT_THAT(script_.calls, ElementsAre("construct", "setNextTowardsHost", "start", "hostReady",
                                         "sendBatchTowardsTransport", "shutdown", "destroy"));
}

TEST_F(EntryPointsTest, BatchPassesBothPointersUnchanged) {
  create();
  kel_message messages[3] = {};

  kel_plugin_sendBatchTowardsTransport_HTTPClient(plugin_, messages, messages + 3);

  ASSERT_EQ(script_.batches.size(), 1u);
  EXPECT_EQ(static_cast<void*>(script_.batches[0].first), messages);
  EXPECT_EQ(static_cast<void*>(script_.batches[0].second), messages + 3);
}

TEST_F(EntryPointsTest, NextTowardsHostReachesTheHostsFunction) {
  struct Element {
    std::vector<std::pair<kel_message*, kel_message*>> batches;
  } element;
  create();
  const auto batch = [](void* handle, kel_message* first, kel_message* end) {
    static_cast<Element*>(handle)->batches.emplace_back(first, end);
  };
  Message messages[2];

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, &element, batch), 0);
  script_.created->hostSide->sendBatchTowardsHost(messages, messages + 2);

  ASSERT_EQ(element.batches.size(), 1u);
  EXPECT_EQ(static_cast<void*>(element.batches[0].first), messages);
  EXPECT_EQ(static_cast<void*>(element.batches[0].second), messages + 2);
}

TEST_F(EntryPointsTest, SecondNextTowardsHostReplacesTheFirst) {
  int calls[2] = {0, 0};
  const auto count = [](void* handle, kel_message*, kel_message*) { ++*static_cast<int*>(handle); };
  create();
  script_.calls.reserve(10);
  kel_plugin_setNextTowardsHost_HTTPClient(plugin_, &calls[0], count);
  const auto objects = test_support::liveObjects();

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, &calls[1], count), 0);
  script_.created->hostSide->sendBatchTowardsHost(nullptr, nullptr);

  EXPECT_THAT(calls, ElementsAre(0, 1));
  // The first one is gone. The record of the call needs one object: its text.
  EXPECT_EQ(test_support::liveObjects(), objects + 1);
}

TEST_F(EntryPointsTest, HostSideThatIsNotTakenIsDestroyed) {
  create();
  script_.takesHostSide = false;
  script_.calls.reserve(10);
  const auto objects = test_support::liveObjects();

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, nullptr, ignoreBatch), 0);

  EXPECT_EQ(script_.created->hostSide, nullptr);
  EXPECT_EQ(test_support::liveObjects(), objects + 1);
}

TEST_F(EntryPointsTest, HostSideIsDestroyedWhenTheElementThrows) {
  host_.setLogLevel(0);
  create();
  script_.calls.reserve(10);
  throwFrom("setNextTowardsHost", 42);
  const auto objects = test_support::liveObjects();

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, nullptr, ignoreBatch), 1);

  EXPECT_EQ(test_support::liveObjects(), objects + 1);
}

// ---- Destroy

TEST_F(EntryPointsTest, DestroyOfNothingGivesZeroAndDoesNothing) {
  EXPECT_EQ(kel_destroy_plugin_HTTPClient(nullptr), 0);

  EXPECT_THAT(host_.lines(), IsEmpty());
  EXPECT_THAT(script_.calls, IsEmpty());
}

TEST_F(EntryPointsTest, DestroyEndsTheTransport) {
  create();

  EXPECT_EQ(kel_destroy_plugin_HTTPClient(plugin_), 0);
  plugin_ = nullptr;

  EXPECT_THAT(script_.calls, ElementsAre("construct", "destroy"));
}

TEST_F(EntryPointsTest, FailedDestroyGivesOneInSilence) {
  host_.setLogLevel(6);
  create();
  throwFrom("destroy", std::runtime_error("the reason"));

  EXPECT_EQ(kel_destroy_plugin_HTTPClient(plugin_), 1);
  plugin_ = nullptr;

  EXPECT_THAT(host_.lines(), IsEmpty());
}

TEST_F(EntryPointsTest, DestroyThatFailsWithAnyExceptionGivesOneInSilence) {
  host_.setLogLevel(6);
  create();
  throwFrom("destroy", 42);

  EXPECT_EQ(kel_destroy_plugin_HTTPClient(plugin_), 1);
  plugin_ = nullptr;

  EXPECT_THAT(host_.lines(), IsEmpty());
}

// ---- A host that breaks the contract

TEST_F(EntryPointsTest, NullHandleIsRefused) {
  EXPECT_EQ(kel_plugin_start_HTTPClient(nullptr), 1);
  EXPECT_EQ(kel_plugin_hostReady_HTTPClient(nullptr), 1);
  EXPECT_EQ(kel_plugin_shutdown_HTTPClient(nullptr), 1);
  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(nullptr, nullptr, ignoreBatch), 1);
  EXPECT_EQ(kel_plugin_sendBatchTowardsTransport_HTTPClient(nullptr, nullptr, nullptr), 1);

  const std::string reason = ": the host gave a null plugin handle";
  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity..> Exception from start" + reason,
                          "<connectivity..> Exception from setNextTowardsHost" + reason));
  EXPECT_THAT(host_.textsAt(3),
              ElementsAre("<connectivity..> Exception from hostReady" + reason,
                          "<connectivity..> Exception from shutdown" + reason,
                          "<connectivity..> Exception from sendBatchTowardsTransport" + reason));
}

TEST_F(EntryPointsTest, NullBatchFunctionIsRefused) {
  create();

  EXPECT_EQ(kel_plugin_setNextTowardsHost_HTTPClient(plugin_, nullptr, nullptr), 1);

  EXPECT_THAT(script_.calls, ElementsAre("construct"));
  EXPECT_THAT(host_.textsAt(2),
              ElementsAre("<connectivity.name.chain> Exception from setNextTowardsHost: the host "
                          "gave a null batch function"));
}

}  // namespace com::corvane::connectivity10_15_0
