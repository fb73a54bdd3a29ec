#include "plugin/status_item.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "plugin/status_reporter.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity10_15_0 {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;
using testing::ThrowsMessage;
using Kind = test_support::FakeHost::StatusCall::Kind;
using Call = test_support::FakeHost::StatusCall;

class StatusItemTest : public testing::Test {
 protected:
  std::vector<std::string> history() const { return host_.statusHistory(kKey); }

  static constexpr const char* kKey = "c1.p.status";
  test_support::FakeHost host_;
  StatusReporter reporter_{this};
};

TEST_F(StatusItemTest, ReachesTheHostWithKeyValueAndStatusHandle) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  EXPECT_EQ(item->key(), "c1.p.status");
  EXPECT_THAT(host_.statusCalls(), ElementsAre(Call{Kind::Create, kKey, "STARTING", this}));
}

TEST_F(StatusItemTest, IntegerItemBeginsAtZero) {
  const auto item = reporter_.createIntegerItem(kKey);

  EXPECT_THAT(history(), ElementsAre("create:0"));
}

TEST_F(StatusItemTest, IntegerItemShowsItsInitialNumberInDecimal) {
  const auto item = reporter_.createIntegerItem(kKey, -1234567);

  EXPECT_THAT(history(), ElementsAre("create:-1234567"));
}

TEST_F(StatusItemTest, ShowsANumberAgainThatATextTookThePlaceOf) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(std::int64_t{5});
  item->set("five");
  item->set(std::int64_t{5});
  item->set(std::int64_t{5});

  EXPECT_THAT(history(), ElementsAre("create:0", "set:5", "set:five", "set:5"));
}

TEST_F(StatusItemTest, AddsToANumberThatWasSetAgain) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(std::int64_t{5});
  item->set(std::int64_t{5});
  item->add(2);

  EXPECT_THAT(history(), ElementsAre("create:0", "set:5", "set:7"));
}

TEST_F(StatusItemTest, SettingTheSameTextTwiceMakesOneCall) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  item->set("ONLINE");
  item->set("ONLINE");

  EXPECT_THAT(history(), ElementsAre("create:STARTING", "set:ONLINE"));
}

TEST_F(StatusItemTest, SettingTheInitialTextMakesNoCall) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  item->set("STARTING");

  EXPECT_THAT(history(), ElementsAre("create:STARTING"));
}

TEST_F(StatusItemTest, TextsAreComparedByteForByte) {
  const auto item = reporter_.createItem(kKey, "ONLINE");

  item->set("online");
  item->set("onlin");
  item->set("onlin ");
  item->set("");

  EXPECT_THAT(history(),
              ElementsAre("create:ONLINE", "set:online", "set:onlin", "set:onlin ", "set:"));
}

TEST_F(StatusItemTest, OnlyThePartOfATextIsSent) {
  const auto item = reporter_.createItem(kKey, "");

  item->set(std::string_view("ONLINE and more", 6));

  EXPECT_THAT(history(), ElementsAre("create:", "set:ONLINE"));
}

TEST_F(StatusItemTest, SettingBackToAnEarlierTextIsAChange) {
  const auto item = reporter_.createItem(kKey, "A");

  item->set("B");
  item->set("A");

  EXPECT_THAT(history(), ElementsAre("create:A", "set:B", "set:A"));
}

TEST_F(StatusItemTest, SettingZeroAfterCreationMakesNoCall) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(0);

  EXPECT_THAT(history(), ElementsAre("create:0"));
}

TEST_F(StatusItemTest, OnlyChangesOfANumberReachTheHost) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(7);
  item->set(7);
  item->setInteger(-7);

  EXPECT_THAT(history(), ElementsAre("create:0", "set:7", "set:-7"));
}

TEST_F(StatusItemTest, LargestNumbersAreShownWhole) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(std::numeric_limits<std::int64_t>::min());
  item->set(std::numeric_limits<std::int64_t>::max());

  EXPECT_THAT(history(),
              ElementsAre("create:0", "set:-9223372036854775808", "set:9223372036854775807"));
}

TEST_F(StatusItemTest, AddShowsTheSum) {
  const auto item = reporter_.createIntegerItem(kKey, 10);

  item->add(5);
  item->add(-20);
  item->add(0);

  EXPECT_THAT(history(), ElementsAre("create:10", "set:15", "set:-5"));
}

TEST_F(StatusItemTest, AddGoesOnFromANumberThatWasSet) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->set(100);
  item->add(1);

  EXPECT_THAT(history(), ElementsAre("create:0", "set:100", "set:101"));
}

TEST_F(StatusItemTest, ShowsANumberThatIsReadAtItsTurn) {
  const auto item = reporter_.createIntegerItem(kKey);

  item->setTo([] { return 5; });
  item->setTo([] { return 5; });
  item->add(1);

  EXPECT_THAT(history(), ElementsAre("create:0", "set:5", "set:6"));
}

TEST_F(StatusItemTest, LastReaderIsTheLastToShow) {
  const auto item = reporter_.createIntegerItem(kKey);
  std::atomic<int> figure = 0;

  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        ++figure;
        item->setTo([&] { return figure.load(); });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();

  int last = 0;
  for (const Call& call : host_.statusCalls()) {
    const int shown = std::stoi(call.value);
    EXPECT_GE(shown, last);
    last = shown;
  }
  EXPECT_EQ(last, 2000);
}

TEST_F(StatusItemTest, HostThatThrowsIsNotExamined) {
  auto item = reporter_.createIntegerItem(kKey);
  host_.throwFromStatus(std::make_exception_ptr(std::runtime_error("display is gone")));

  EXPECT_NO_THROW(item->set("text"));
  EXPECT_NO_THROW(item->set(7));
  EXPECT_NO_THROW(item->add(1));
  EXPECT_NO_THROW(item->setTo([] { return 9; }));
  EXPECT_NO_THROW(item.reset());

  EXPECT_THAT(history(), ElementsAre("create:0", "set:text", "set:7", "set:8", "set:9", "delete:"));
}

TEST_F(StatusItemTest, UnlockedFormIsForHoldersOfTheMutex) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  {
    orvex::AutoMutex lock(item->mutex());
    item->setUnlocked("ONLINE");
    item->setUnlocked("ONLINE");
  }

  EXPECT_STREQ(item->mutex().name(), "StatusItem");
  EXPECT_THAT(history(), ElementsAre("create:STARTING", "set:ONLINE"));
}

TEST_F(StatusItemTest, DestructionDeletesTheItemOfTheHost) {
  auto item = reporter_.createItem(kKey, "STARTING");

  item.reset();

  EXPECT_THAT(host_.statusCalls(), ElementsAre(Call{Kind::Create, kKey, "STARTING", this},
                                               Call{Kind::Delete, kKey, "", this}));
  EXPECT_THAT(host_.statusKeys(), IsEmpty());
}

TEST_F(StatusItemTest, KeyInUseIsRefused) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  EXPECT_THAT([&] { reporter_.createItem(kKey, "STARTING"); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Failed to create status item 'c1.p.status' (ensure the key is "
                        "unique and that this plug-in has not been shutdown already)")));
}

TEST_F(StatusItemTest, RefusedIntegerItemHasTheSameText) {
  const auto item = reporter_.createIntegerItem(kKey);

  EXPECT_THAT([&] { reporter_.createIntegerItem(kKey); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Failed to create status item 'c1.p.status' (ensure the key is "
                        "unique and that this plug-in has not been shutdown already)")));
}

TEST_F(StatusItemTest, RefusedItemLeavesTheFirstOneAlone) {
  const auto item = reporter_.createItem(kKey, "STARTING");

  EXPECT_ANY_THROW(reporter_.createItem(kKey, "other"));
  item->set("ONLINE");

  EXPECT_THAT(history(), ElementsAre("create:STARTING", "create:other", "set:ONLINE"));
  EXPECT_EQ(host_.statusValue(kKey), "ONLINE");
}

TEST_F(StatusItemTest, ElementThatHasBeenShutDownGetsNoItem) {
  host_.refuseStatusItems(true);

  EXPECT_THAT([&] { reporter_.createItem("k", ""); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Failed to create status item 'k' (ensure the key is unique and "
                        "that this plug-in has not been shutdown already)")));
}

TEST_F(StatusItemTest, KeyIsFreeAgainAfterDestruction) {
  reporter_.createItem(kKey, "first").reset();

  const auto item = reporter_.createItem(kKey, "second");

  EXPECT_EQ(host_.statusValue(kKey), "second");
}

TEST_F(StatusItemTest, ConcurrentAddsAllCount) {
  const auto item = reporter_.createIntegerItem(kKey);
  constexpr int kThreads = 4;
  constexpr int kRounds = 500;

  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) item->add(1);
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(host_.statusValue(kKey), "2000");
  EXPECT_EQ(history().size(), 1u + kThreads * kRounds);
}

}  // namespace com::corvane::connectivity10_15_0
