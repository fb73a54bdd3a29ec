#include "plugin/abstract_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "plugin/map_release_log.h"
#include "plugin/remote_host_side.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity10_15_0 {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

class RecordingHostSide final : public HostSide {
 public:
  RecordingHostSide(std::vector<std::string>& events, std::string name)
      : events_(events), name_(std::move(name)) {}
  ~RecordingHostSide() noexcept(false) override { events_.push_back(name_ + " destroyed"); }
  void sendBatchTowardsHost(Message*, Message*) override { events_.push_back(name_ + " called"); }

 private:
  std::vector<std::string>& events_;
  const std::string name_;
};

class ThrowingHostSide final : public HostSide {
 public:
  ~ThrowingHostSide() noexcept(false) override { throw std::runtime_error("from the destructor"); }
  void sendBatchTowardsHost(Message*, Message*) override {}
};

class Transport : public AbstractTransport {
 public:
  using AbstractTransport::AbstractTransport;
  using AbstractTransport::config;
  using AbstractTransport::hostSide;

  void sendBatchTowardsTransport(Message* first, Message* end) override {
    batches.emplace_back(first, end);
  }

  std::vector<std::pair<Message*, Message*>> batches;
};

}  // namespace

class AbstractTransportTest : public testing::Test {
 protected:
  PluginParameters parameters() { return {"chain", "name", map_t(), nullptr, nullptr}; }

  std::unique_ptr<HostSide> side(const std::string& name) {
    return std::make_unique<RecordingHostSide>(events_, name);
  }

  std::vector<std::string> events_;
  test_support::FakeHost host_;
};

// sendBatchTowardsTransport is left to the transport: without it there is no object.
static_assert(std::is_abstract_v<AbstractTransport>);
static_assert(std::is_abstract_v<HostSide> && std::is_abstract_v<TransportSide>);
static_assert(!std::is_abstract_v<Transport>);

// A destructor of an element may throw.
static_assert(!std::is_nothrow_destructible_v<Plugin>);
static_assert(!std::is_nothrow_destructible_v<AbstractTransport>);
static_assert(!std::is_nothrow_destructible_v<TransportSide>);
static_assert(!std::is_nothrow_destructible_v<HostSide>);

TEST_F(AbstractTransportTest, HasNoHostSideAtFirst) {
  const Transport transport(parameters());

  EXPECT_EQ(transport.hostSide, nullptr);
}

TEST_F(AbstractTransportTest, PluginStandsAtTheStartOfTheObject) {
  Transport transport(parameters());
  AbstractTransport* const base = &transport;

  EXPECT_EQ(static_cast<void*>(static_cast<Plugin*>(base)), static_cast<void*>(&transport));
  EXPECT_NE(static_cast<void*>(static_cast<TransportSide*>(base)), static_cast<void*>(&transport));
}

TEST_F(AbstractTransportTest, TakesTheHostSideOutOfTheArgument) {
  Transport transport(parameters());
  auto next = side("A");
  const HostSide* const given = next.get();

  transport.setNextTowardsHost(next);

  EXPECT_EQ(next, nullptr);
  EXPECT_EQ(transport.hostSide.get(), given);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(AbstractTransportTest, ReplacedHostSideIsDestroyed) {
  Transport transport(parameters());
  auto first = side("A");
  auto second = side("B");
  transport.setNextTowardsHost(first);

  transport.setNextTowardsHost(second);

  EXPECT_THAT(events_, ElementsAre("A destroyed"));
  transport.hostSide->sendBatchTowardsHost(nullptr, nullptr);
  EXPECT_THAT(events_, ElementsAre("A destroyed", "B called"));
}

TEST_F(AbstractTransportTest, OwnHolderAsArgumentChangesNothing) {
  Transport transport(parameters());
  auto next = side("A");
  transport.setNextTowardsHost(next);
  const HostSide* const held = transport.hostSide.get();

  transport.setNextTowardsHost(transport.hostSide);

  EXPECT_EQ(transport.hostSide.get(), held);
  EXPECT_THAT(events_, IsEmpty());
}

TEST_F(AbstractTransportTest, EmptyArgumentLeavesNoHostSide) {
  Transport transport(parameters());
  auto next = side("A");
  std::unique_ptr<HostSide> none;
  transport.setNextTowardsHost(next);

  transport.setNextTowardsHost(none);

  EXPECT_EQ(transport.hostSide, nullptr);
  EXPECT_THAT(events_, ElementsAre("A destroyed"));
}

TEST_F(AbstractTransportTest, ReplacedHostSideMayThrowFromItsDestructor) {
  Transport transport(parameters());
  std::unique_ptr<HostSide> throwing = std::make_unique<ThrowingHostSide>();
  auto next = side("B");
  transport.setNextTowardsHost(throwing);

  EXPECT_THROW(transport.setNextTowardsHost(next), std::runtime_error);

  ASSERT_NE(transport.hostSide, nullptr);
  transport.hostSide->sendBatchTowardsHost(nullptr, nullptr);
  EXPECT_THAT(events_, ElementsAre("B called"));
}

TEST_F(AbstractTransportTest, HostSideGoesBeforeThePluginPart) {
  auto transport = std::make_unique<Transport>(parameters());
  auto next = side("host side");
  transport->setNextTowardsHost(next);
  transport->getStatusReporter().statusMap().insert(data_t("k"), data_t("v"));
  std::vector<std::string> order;

  const test_support::MapReleaseLog log([&](const map_block*) {
    order.push_back(std::to_string(events_.size()) + " events, " +
                    std::to_string(host_.statusMaps().size()) + " maps");
  });
  transport.reset();

  EXPECT_THAT(events_, ElementsAre("host side destroyed"));
  // The status map, then the configuration.
  EXPECT_THAT(order, ElementsAre("1 events, 1 maps", "1 events, 1 maps"));
}

TEST_F(AbstractTransportTest, DestructorMayThrowWithoutKeepingAnything) {
  auto* const transport = new Transport(parameters());
  std::unique_ptr<HostSide> throwing = std::make_unique<ThrowingHostSide>();
  transport->setNextTowardsHost(throwing);
  transport->getStatusReporter().statusMap().insert(data_t("k"), data_t("v"));

  EXPECT_THROW(delete transport, std::runtime_error);

  EXPECT_EQ(host_.statusMaps().size(), 1u);
}

TEST_F(AbstractTransportTest, SetNextTowardsHostFollowsTheOperationsOfPlugin) {
  class Recorder final : public Transport {
   public:
    using Transport::Transport;
    void setNextTowardsHost(std::unique_ptr<HostSide>&) override { ++calls; }
    int calls = 0;
  };
  using Operation = void (*)(AbstractTransport*, std::unique_ptr<HostSide>&);
  Recorder transport(parameters());
  AbstractTransport* const base = &transport;
  std::unique_ptr<HostSide> none;

  const Operation* const table = *reinterpret_cast<const Operation* const*>(base);
  table[5](base, none);

  EXPECT_EQ(transport.calls, 1);
}

TEST_F(AbstractTransportTest, TransportSideTableHoldsDestructorThenBatch) {
  using Operation = void (*)(TransportSide*, Message*, Message*);
  Transport transport(parameters());
  TransportSide* const side = &transport;
  Message messages[2];

  const Operation* const table = *reinterpret_cast<const Operation* const*>(side);
  table[2](side, messages, messages + 2);

  EXPECT_THAT(transport.batches, ElementsAre(Pair(messages, messages + 2)));
}

TEST(RemoteHostSideTest, CallsTheHostWithHandleAndPointersUnchanged) {
  struct Call {
    kel_message* first;
    kel_message* end;
  };
  static std::vector<std::pair<void*, Call>> calls;
  calls.clear();
  int element = 0;
  Message messages[3];
  RemoteHostSide side(&element, [](void* handle, kel_message* first, kel_message* end) {
    calls.emplace_back(handle, Call{first, end});
  });

  side.sendBatchTowardsHost(messages, messages + 3);

  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].first, &element);
  EXPECT_EQ(static_cast<void*>(calls[0].second.first), messages);
  EXPECT_EQ(static_cast<void*>(calls[0].second.end), messages + 3);
}

TEST(RemoteHostSideTest, FailureOfTheHostPassesThrough) {
  RemoteHostSide side(nullptr, [](void*, kel_message*, kel_message*) { throw 42; });

  EXPECT_THROW(side.sendBatchTowardsHost(nullptr, nullptr), int);
}

TEST(RemoteHostSideTest, IsHandleThenFunctionBehindItsTable) {
  static const kel_batch_function kBatch = [](void*, kel_message*, kel_message*) {};
  int element = 0;
  const RemoteHostSide side(&element, kBatch);

  void* words[3];
  static_assert(sizeof(side) == sizeof(words));
  std::memcpy(words, static_cast<const void*>(&side), sizeof(words));

  EXPECT_EQ(words[1], &element);
  EXPECT_EQ(words[2], reinterpret_cast<void*>(kBatch));
}

}  // namespace com::corvane::connectivity10_15_0
