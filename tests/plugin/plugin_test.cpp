#include "plugin/plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "model/get.h"
#include "plugin/map_release_log.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity10_15_0 {

using test_support::FakeHost;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::StrEq;
using testing::ThrowsMessage;

// Shows what derived elements reach.
class Element : public Plugin {
 public:
  using Plugin::chainId;
  using Plugin::config;
  using Plugin::hostHandle;
  using Plugin::logger;
  using Plugin::Plugin;
  using Plugin::pluginName;
};

class PluginTest : public testing::Test {
 protected:
  static map_t configuration() {
    map_t map;
    map.insert(data_t("host"), data_t("example"));
    return map;
  }

  PluginParameters parameters() {
    return {"chain", "name", configuration(), &statusHandle_, &hostHandle_};
  }

  FakeHost host_;
  int statusHandle_ = 0;
  int hostHandle_ = 0;
};

TEST_F(PluginTest, KeepsNamesAndHostHandle) {
  const Element element(parameters());

  EXPECT_EQ(element.pluginName, "name");
  EXPECT_EQ(element.chainId, "chain");
  EXPECT_EQ(element.hostHandle(), &hostHandle_);
}

TEST_F(PluginTest, CopiesTheConfiguration) {
  PluginParameters given = parameters();

  const Element element(given);
  given.config.erase(given.config.find("host"));

  ASSERT_EQ(element.config.size(), 1u);
  EXPECT_STREQ(get<const char*>(element.config.begin().value()), "example");
}

TEST_F(PluginTest, LogsUnderPluginNameThenChainId) {
  const Element element(parameters());

  element.logger.log(LogLevel::Info, "line");

  EXPECT_EQ(element.logger.category(), "connectivity.name.chain");
  EXPECT_EQ(element.logger.prefix(), "connectivity.name.chain");
  EXPECT_EQ(&element.getLogger(), &element.logger);
  EXPECT_THAT(host_.texts(), ElementsAre("<connectivity.name.chain> line"));
}

TEST_F(PluginTest, AsksForItsLogLevelOnceWhenMade) {
  host_.setLogLevel(2);

  const Element element(parameters());
  host_.setLogLevel(6);

  EXPECT_EQ(element.logger.level(), 2);
  EXPECT_THAT(host_.levelQueries(), ElementsAre("connectivity.name.chain"));
}

TEST_F(PluginTest, ReporterUsesTheStatusHandle) {
  const Element element(parameters());

  const auto item = element.getStatusReporter().createItem("k", "v");

  ASSERT_EQ(host_.statusCalls().size(), 1u);
  EXPECT_EQ(host_.statusCalls()[0].statusHandle, &statusHandle_);
  EXPECT_TRUE(element.getStatusReporter().statusMap().empty());
}

TEST_F(PluginTest, NullStatusHandleIsAHandleLikeAnyOther) {
  PluginParameters given = parameters();
  given.statusHandle = nullptr;

  const Element element(given);

  EXPECT_NO_THROW(element.getStatusReporter());
}

TEST_F(PluginTest, LegacyElementHasEverythingButAReporter) {
  const map_t config = configuration();

  const Element element("name", "chain", config, &hostHandle_);

  EXPECT_EQ(element.pluginName, "name");
  EXPECT_EQ(element.chainId, "chain");
  EXPECT_EQ(element.config.size(), 1u);
  EXPECT_EQ(element.hostHandle(), &hostHandle_);
  EXPECT_EQ(element.logger.category(), "connectivity.name.chain");
  EXPECT_THAT([&] { element.getStatusReporter(); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Cannot call getStatusReporter when using the legacy constructor")));
}

TEST_F(PluginTest, LegacyElementIsDestroyedWithoutStatusCalls) {
  { const Element element("name", "chain", configuration(), &hostHandle_); }

  EXPECT_THAT(host_.statusCalls(), IsEmpty());
}

TEST_F(PluginTest, OperationsDoNothingByDefault) {
  Element element(parameters());

  element.start();
  element.hostReady();
  element.shutdown();

  EXPECT_THAT(host_.lines(), IsEmpty());
  EXPECT_THAT(host_.statusCalls(), IsEmpty());
  EXPECT_EQ(host_.shutdownQueries(), 0u);
}

TEST_F(PluginTest, DestructionPublishesTheStatusMap) {
  {
    const Element element(parameters());
    element.getStatusReporter().statusMap().insert(data_t("k"), data_t("v"));

    EXPECT_THAT(host_.statusMaps(), IsEmpty());
  }

  ASSERT_EQ(host_.statusMaps().size(), 1u);
  EXPECT_THAT(host_.statusMaps()[0], ElementsAre(Pair("k", "v")));
  EXPECT_EQ(host_.statusCalls()[0].statusHandle, &statusHandle_);
}

TEST_F(PluginTest, EmptyStatusMapIsFreedButNotPublished) {
  auto element = std::make_unique<Element>(parameters());
  const map_block* const config = element->config.raw();
  std::vector<const map_block*> freed;

  const test_support::MapReleaseLog log([&](const map_block* block) { freed.push_back(block); });
  element.reset();

  EXPECT_THAT(host_.statusMaps(), IsEmpty());
  EXPECT_THAT(freed, ElementsAre(nullptr, config));
}

TEST_F(PluginTest, StatusMapThatWasEmptiedIsNotPublished) {
  {
    const Element element(parameters());
    map_t& map = element.getStatusReporter().statusMap();
    map.insert(data_t("k"), data_t("v"));
    map.erase(map.find("k"));
  }

  EXPECT_THAT(host_.statusMaps(), IsEmpty());
}

TEST_F(PluginTest, StatusMapIsPublishedThenFreedOnceThenTheConfigurationGoes) {
  auto element = std::make_unique<Element>(parameters());
  map_t& map = element->getStatusReporter().statusMap();
  map.insert(data_t("k"), data_t("v"));
  const map_block* const status = map.raw();
  const map_block* const config = element->config.raw();
  std::vector<std::pair<const map_block*, std::size_t>> freed;

  const test_support::MapReleaseLog log(
      [&](const map_block* block) { freed.emplace_back(block, host_.statusMaps().size()); });
  element.reset();

  EXPECT_THAT(freed, ElementsAre(Pair(status, 1u), Pair(config, 1u)));
}

// The host's side of the boundary may rely on where the operations stand in the table.
TEST_F(PluginTest, TableHoldsDestructorStartHostReadyShutdownInThisOrder) {
  class Recorder final : public Plugin {
   public:
    Recorder(const PluginParameters& given, std::vector<std::string>& calls)
        : Plugin(given), calls_(calls) {}
    ~Recorder() noexcept(false) override { calls_.emplace_back("destructor"); }
    void start() override { calls_.emplace_back("start"); }
    void hostReady() override { calls_.emplace_back("hostReady"); }
    void shutdown() override { calls_.emplace_back("shutdown"); }

   private:
    std::vector<std::string>& calls_;
  };
  using Operation = void (*)(Plugin*);
  std::vector<std::string> calls;
  Plugin* const plugin = new Recorder(parameters(), calls);

  // The destructor takes two places: without and with giving back the memory.
  const Operation* const table = *reinterpret_cast<const Operation* const*>(plugin);
  table[2](plugin);
  table[3](plugin);
  table[4](plugin);
  table[1](plugin);

  EXPECT_THAT(calls, ElementsAre("start", "hostReady", "shutdown", "destructor"));
}

}  // namespace com::corvane::connectivity10_15_0
