// The host's log, status items and shutdown flag, as a program sees them that links the library.
#include "kel/host_services.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kel/host_control.h"
#include "model/map.h"
#include "runtime/manual_clock.h"

namespace kelhost {
namespace {

using com::corvane::connectivity10_15_0::data_t;
using com::corvane::connectivity10_15_0::map_t;

class HostLogTest : public testing::Test {
 protected:
  HostLogTest() {
    kel_host_set_log_sink(
        [](void* self, const char*, std::int32_t, const char* text) {
          static_cast<HostLogTest*>(self)->lines_.emplace_back(text);
        },
        this);
    kel_host_set_log_level("", 6);
  }
  ~HostLogTest() override { kel_host_set_log_sink(nullptr, nullptr); }

  std::string last() const { return lines_.empty() ? "no line" : lines_.back(); }

  std::vector<std::string> lines_;
};

TEST_F(HostLogTest, FormatsTheConversionsOfPlugins) {
  kel_log_at("c", 4, "<%s> {%I64u} %I64d %I32d %d 100%%", "p", std::uint64_t{5000000000},
             std::int64_t{-5000000000}, std::int32_t{-3}, std::int32_t{7});

  EXPECT_EQ(last(), "<p> {5000000000} -5000000000 -3 7 100%");
}

TEST_F(HostLogTest, WritesFormatsItDoesNotKnowAsTheyAre) {
  for (const char* format : {"%n", "%p and %s", "%5d", "trailing %", "%I64x", "%lld"}) {
    kel_log_at("c", 4, format, std::int64_t{1}, std::int64_t{2});
    EXPECT_EQ(last(), format);
  }
}

TEST_F(HostLogTest, CutsNoLine) {
  const std::string text(100 * 1024, 'x');

  kel_log_at("c", 4, "<%s>", text.c_str());

  EXPECT_EQ(last(), "<" + text + ">");
}

TEST_F(HostLogTest, SetsLevelsByTheLongestPrefixAtAnyTime) {
  kel_host_set_log_level("connectivity", 3);
  kel_host_set_log_level("connectivity.plugin", 5);

  EXPECT_EQ(kel_get_log_level("connectivity.plugin.chain"), 5);
  EXPECT_EQ(kel_get_log_level("connectivity.other"), 3);
  EXPECT_EQ(kel_get_log_level("else"), 6);

  kel_host_set_log_level("connectivity.plugin", 2);
  EXPECT_EQ(kel_get_log_level("connectivity.plugin.chain"), 2);
}

// A logger keeps the level that it was made with: the host must not drop what that one lets
// through.
TEST_F(HostLogTest, WritesWhatItIsGivenWhateverTheLevelIsNow) {
  kel_host_set_log_level("", -1);

  kel_log_at("c", 6, "kept");

  EXPECT_EQ(last(), "kept");
}

TEST_F(HostLogTest, KnowsTheNamesOfLevels) {
  EXPECT_EQ(kel_host_log_level_of("OFF"), -1);
  EXPECT_EQ(kel_host_log_level_of("crit"), 0);
  EXPECT_EQ(kel_host_log_level_of("Trace"), 6);
  EXPECT_EQ(kel_host_log_level_of("LOUD"), -2);
}

TEST(HostLogLineTest, WritesOneLineWithTimeLevelThreadAndText) {
  const com::orvex::ManualClockForTest clock(0, 1'700'000'000'123);
  kel_host_set_log_level("", 4);

  testing::internal::CaptureStderr();
  kel_log_at("c", 3, "two\r\nlines and \x1b[31m");
  const std::string line = testing::internal::GetCapturedStderr();

  EXPECT_THAT(line, testing::MatchesRegex("2023-11-14T22:13:20\\.123Z WARN \\[[^]]+\\] "
                                          "two\\\\r\\\\nlines and \\\\x1b\\[31m\n"));
}

class HostStatusTest : public testing::Test {
 protected:
  ~HostStatusTest() override { kel_host_close_status(this, false); }

  /// The items as "key=value changes@time".
  std::vector<std::string> items() {
    std::vector<std::string> result;
    kel_host_visit_status(
        this,
        [](void* out, const kel_host_status_item* item) {
          static_cast<std::vector<std::string>*>(out)->push_back(
              std::string(item->key) + "=" + item->value + " " + std::to_string(item->changes) +
              "@" + std::to_string(item->changed_at_ms));
        },
        &result);
    return result;
  }

  com::orvex::ManualClockForTest clock_{0, 1000};
};

TEST_F(HostStatusTest, KeepsValueChangesAndTime) {
  void* const item = kel_create_user_status_item(this, "k", "a");
  void* const other = kel_create_user_status_item(this, "a", "b");
  clock_.advanceMs(5);

  kel_set_user_status_item(item, "c");

  EXPECT_EQ(items(), (std::vector<std::string>{"k=c 1@1005", "a=b 0@1000"}));
  kel_delete_user_status_item(this, item);
  kel_delete_user_status_item(this, other);
  EXPECT_TRUE(items().empty());
}

TEST_F(HostStatusTest, RefusesAKeyInUseAndAClosedElement) {
  void* const item = kel_create_user_status_item(this, "k", "a");

  EXPECT_EQ(kel_create_user_status_item(this, "k", "b"), nullptr);
  kel_delete_user_status_item(this, item);
  void* const again = kel_create_user_status_item(this, "k", "b");
  EXPECT_NE(again, nullptr);
  kel_host_close_status(this, true);
  EXPECT_EQ(kel_create_user_status_item(this, "other", "b"), nullptr);
  kel_delete_user_status_item(this, again);
}

TEST_F(HostStatusTest, KeepsKeysOfTwoElementsApart) {
  int other = 0;
  void* const mine = kel_create_user_status_item(this, "k", "a");
  void* const theirs = kel_create_user_status_item(&other, "k", "b");

  EXPECT_NE(theirs, nullptr);
  kel_delete_user_status_item(this, theirs);  // not this element's: nothing happens
  kel_set_user_status_item(theirs, "c");
  kel_delete_user_status_item(&other, theirs);
  EXPECT_EQ(items(), std::vector<std::string>{"k=a 0@1000"});
  kel_delete_user_status_item(this, mine);
}

TEST_F(HostStatusTest, IgnoresStaleAndNullHandles) {
  void* const item = kel_create_user_status_item(this, "k", "a");
  kel_delete_user_status_item(this, item);

  kel_set_user_status_item(item, "b");
  kel_set_user_status_item(nullptr, "b");
  kel_delete_user_status_item(this, item);
  kel_delete_user_status_item(this, nullptr);

  EXPECT_TRUE(items().empty());
}

TEST_F(HostStatusTest, ShowsTheEntriesOfAMap) {
  map_t map;
  map.insert(data_t("left"), data_t(7));

  kel_set_user_status_map(this, map.raw());

  EXPECT_EQ(items(), std::vector<std::string>{"left=7 0@0"});
}

TEST_F(HostStatusTest, StandsSeveralThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      void* const item = kel_create_user_status_item(this, std::to_string(i).c_str(), "0");
      for (int j = 0; j < 200; ++j) kel_set_user_status_item(item, std::to_string(j).c_str());
      kel_delete_user_status_item(this, item);
    });
  }
  for (auto& thread : threads) thread.join();

  EXPECT_TRUE(items().empty());
}

TEST(HostLifecycleTest, GoesDownForOneHandleAlone) {
  int one = 0;
  int other = 0;
  bool answer = true;

  kel_host_set_shutting_down(&one, true);

  EXPECT_EQ(kel_is_host_shutting_down(&other, &answer), 0);
  EXPECT_FALSE(answer);
  EXPECT_EQ(kel_is_host_shutting_down(&one, &answer), 0);
  EXPECT_TRUE(answer);
  kel_host_set_shutting_down(&one, false);
  EXPECT_EQ(kel_is_host_shutting_down(&one, &answer), 0);
  EXPECT_FALSE(answer);
}

}  // namespace
}  // namespace kelhost
