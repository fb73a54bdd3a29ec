#include "support/fake_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "kel/host_services.h"
#include "kel/host_values.h"

namespace test_support {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class FakeHostTest : public testing::Test {
 protected:
  static bool isShuttingDown() {
    bool answer = false;
    EXPECT_EQ(kel_is_host_shutting_down(nullptr, &answer), 0);
    return answer;
  }

  FakeHost host_;
  int handle_ = 0;
};

TEST_F(FakeHostTest, AnswersTheLevelThatWasSetAndRecordsTheQuestion) {
  EXPECT_EQ(kel_get_log_level("a"), 4);
  host_.setLogLevel(6);
  EXPECT_EQ(kel_get_log_level("b"), 6);

  EXPECT_THAT(host_.levelQueries(), ElementsAre("a", "b"));
}

TEST_F(FakeHostTest, RecordsLinesRawAndFormatted) {
  kel_log_at("category", 3, "%s %d %I32d %I64d %I64u 100%%", "text", -1, -2,
             std::int64_t{-5000000000}, std::uint64_t{5000000000});

  EXPECT_THAT(host_.lines(),
              ElementsAre(FakeHost::Line{"category", 3, "%s %d %I32d %I64d %I64u 100%%",
                                         "text -1 -2 -5000000000 5000000000 100%"}));
}

TEST_F(FakeHostTest, FiltersTextsByLevel) {
  kel_log_at("c", 2, "error");
  kel_log_at("c", 3, "warning");

  EXPECT_THAT(host_.texts(), ElementsAre("error", "warning"));
  EXPECT_THAT(host_.textsAt(3), ElementsAre("warning"));
  host_.clearLines();
  EXPECT_THAT(host_.lines(), IsEmpty());
}

TEST_F(FakeHostTest, WaitsForALineOfAnotherThread) {
  std::thread writer([] {
    kel_log_at("c", 2, "first");
    kel_log_at("c", 3, "second");
  });

  const FakeHost::Line line = host_.waitForText("cond");
  writer.join();

  EXPECT_EQ(line.text, "second");
  EXPECT_EQ(host_.waitForLine([](const auto& any) { return any.level == 2; }).text, "first");
}

TEST_F(FakeHostTest, ThrowsFromTheLogOnceAskedTo) {
  host_.throwFromLog(std::make_exception_ptr(std::runtime_error("no disk")));
  EXPECT_THROW(kel_log_at("c", 2, "line"), std::runtime_error);
  host_.throwFromLog(nullptr);
  EXPECT_NO_THROW(kel_log_at("c", 2, "line"));

  EXPECT_THAT(host_.texts(), ElementsAre("line", "line"));
}

TEST_F(FakeHostTest, ThrowsFromStatusWhenToldTo) {
  void* const item = kel_create_user_status_item(&handle_, "k", "a");
  host_.throwFromStatus(std::make_exception_ptr(std::runtime_error("no display")));

  EXPECT_THROW(kel_set_user_status_item(item, "b"), std::runtime_error);
  EXPECT_THROW(kel_delete_user_status_item(&handle_, item), std::runtime_error);

  EXPECT_THAT(host_.statusHistory("k"), ElementsAre("create:a", "set:b", "delete:"));
}

TEST_F(FakeHostTest, KeepsItemsAndTheirHistory) {
  void* const item = kel_create_user_status_item(&handle_, "k", "a");
  kel_set_user_status_item(item, "b");
  EXPECT_EQ(host_.statusValue("k"), "b");
  EXPECT_THAT(host_.statusKeys(), ElementsAre("k"));
  kel_delete_user_status_item(&handle_, item);

  EXPECT_EQ(host_.statusValue("k"), std::nullopt);
  EXPECT_THAT(host_.statusKeys(), IsEmpty());
  EXPECT_THAT(host_.statusHistory("k"), ElementsAre("create:a", "set:b", "delete:"));
  host_.clearStatusCalls();
  EXPECT_THAT(host_.statusCalls(), IsEmpty());
}

TEST_F(FakeHostTest, RefusesKeysInUseUnderOneHandleAndAllWhenAsked) {
  int other = 0;
  EXPECT_NE(kel_create_user_status_item(&handle_, "k", ""), nullptr);
  EXPECT_EQ(kel_create_user_status_item(&handle_, "k", ""), nullptr);
  EXPECT_NE(kel_create_user_status_item(&other, "k", ""), nullptr);

  host_.refuseStatusItems(true);
  EXPECT_EQ(kel_create_user_status_item(&handle_, "free", ""), nullptr);
}

TEST_F(FakeHostTest, IgnoresNullItems) {
  kel_set_user_status_item(nullptr, "v");
  kel_delete_user_status_item(&handle_, nullptr);

  EXPECT_THAT(host_.statusCalls(), IsEmpty());
}

TEST_F(FakeHostTest, WaitsForAStatusOfAnotherThread) {
  void* const item = kel_create_user_status_item(&handle_, "k", "a");
  std::thread setter([&] {
    kel_set_user_status_item(item, "b");
    kel_set_user_status_item(item, "c");
  });

  host_.waitForStatus("k", "c");
  setter.join();

  EXPECT_EQ(host_.statusValue("k"), "c");
}

TEST_F(FakeHostTest, RecordsTheEntriesOfAMapWithoutTakingIt) {
  map_block* const map = kel_allocate_map(4);
  auto* const slots = reinterpret_cast<kel_map_slot*>(map + 1);
  slots[2].hash = 77;
  slots[2].key.payload.string = kel_copy_string("key");
  slots[2].key.tag = KEL_TAG_STRING;
  slots[2].value.payload.string = kel_copy_string("value");
  slots[2].value.tag = KEL_TAG_STRING;
  slots[3].hash = 1;  // a deleted slot
  map->count = 1;
  map->deleted = 1;

  kel_set_user_status_map(&handle_, map);
  kel_set_user_status_map(&handle_, nullptr);
  kel_free_map(map);

  ASSERT_EQ(host_.statusMaps().size(), 2u);
  EXPECT_THAT(host_.statusMaps()[0], ElementsAre(Pair("key", "value")));
  EXPECT_THAT(host_.statusMaps()[1], IsEmpty());
  EXPECT_EQ(host_.statusCalls()[0].statusHandle, &handle_);
}

TEST_F(FakeHostTest, ShutdownFlagIsDownUntilRaised) {
  EXPECT_FALSE(isShuttingDown());
  host_.setShuttingDown(true);
  EXPECT_TRUE(isShuttingDown());
  EXPECT_EQ(host_.shutdownQueries(), 2u);
}

TEST_F(FakeHostTest, ShutdownFlagGoesUpAtAGivenQuery) {
  host_.shutDownAtQuery(3);

  EXPECT_FALSE(isShuttingDown());
  EXPECT_FALSE(isShuttingDown());
  EXPECT_TRUE(isShuttingDown());
  EXPECT_TRUE(isShuttingDown());
}

TEST_F(FakeHostTest, ShutdownQueriesFailFromAGivenOneAndLeaveTheAnswerAlone) {
  host_.setShuttingDown(true);
  host_.failShutdownQueriesFrom(2);

  EXPECT_TRUE(isShuttingDown());
  bool answer = false;
  EXPECT_EQ(kel_is_host_shutting_down(&handle_, &answer), 1);
  EXPECT_FALSE(answer);
  EXPECT_EQ(host_.lastHostHandle(), &handle_);
}

TEST_F(FakeHostTest, WaitsForQueriesOfAnotherThread) {
  std::thread asking([] {
    for (int i = 0; i < 3; ++i) isShuttingDown();
  });

  host_.waitForShutdownQueries(3);
  asking.join();

  EXPECT_EQ(host_.shutdownQueries(), 3u);
}

TEST(NoFakeHostTest, FunctionsAnswerWithoutAHost) {
  bool answer = false;

  EXPECT_EQ(kel_get_log_level("c"), 4);
  kel_log_at("c", 2, "%s", "line");
  EXPECT_EQ(kel_create_user_status_item(nullptr, "k", "v"), nullptr);
  EXPECT_NE(kel_is_host_shutting_down(nullptr, &answer), 0);
}

TEST(NoFakeHostTest, EachHostBeginsAnew) {
  {
    const FakeHost earlier;
    kel_log_at("c", 2, "line");
    kel_create_user_status_item(nullptr, "k", "v");
  }

  const FakeHost host;

  EXPECT_THAT(host.lines(), IsEmpty());
  EXPECT_THAT(host.statusKeys(), IsEmpty());
  EXPECT_EQ(host.shutdownQueries(), 0u);
}

}  // namespace test_support
