// Memory that runs out at each single place, once or for good: every request is answered, creation
// refuses or succeeds, and nothing is left behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <tuple>

#include "resources/failing_allocation.h"
#include "resources/failing_call.h"
#include "resources/plugin_run.h"
#include "resources/plugin_threads.h"
#include "resources/shop.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::endShortage;
using test_support::failAllocation;
using test_support::failedAllocations;
using test_support::liveBlocks;
using test_support::PluginScope;
using test_support::Shortage;
using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

// How our code, the TLS library and the character-set library name it.
const std::vector<std::string> kMemoryTexts = {"std::bad_alloc", "Failed to allocate memory",
                                               "malloc failure", "SSL object",
                                               "BIO object",     "Could not convert argument"};

std::string nameOf(Shortage shortage) { return shortage == Shortage::Once ? "Once" : "Lasting"; }

class RequestShortageTest : public testing::TestWithParam<std::tuple<bool, Errand, Shortage>> {
 public:
  static std::string nameOfCase(const testing::TestParamInfo<ParamType>& info) {
    const auto& [isTls, errand, shortage] = info.param;
    return errand.name + (isTls ? "OverTls" : "") + nameOf(shortage);
  }
};

TEST_P(RequestShortageTest, EveryRequestIsAnsweredOnce) {
  const auto& [isTls, wanted, shortage] = GetParam();
  const Shop shop(isTls);
  std::uint64_t met = 0;
  std::size_t live = 0;

  for (const bool isWarmUp : {true, false}) {
    live = liveBlocks();
    PluginRun run;
    run.host().setLogLevel(kDebugLevel);
    shop.configure(run);
    run.begin();
    ASSERT_EQ(run.perform(wanted.request()).status, wanted.reason.empty() ? 200 : 400);
    // A handshake allocates some thousands of times: over TLS not each of them is met.
    const std::uint64_t step = isWarmUp ? 97 : isTls ? 71 : 1;
    for (std::uint64_t n = 1, failed = 1; failed > 0; n += step) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      failAllocation(n, shortage);

      const Reply reply = run.perform(wanted.request());

      failed = endShortage();
      met += failed;
      expectAnswered(reply, wanted, kMemoryTexts);
      const Reply next = run.perform(wanted.request());
      EXPECT_EQ(next.status, wanted.reason.empty() ? 200 : 400) << next.reason;
      ASSERT_EQ(run.replies(), run.requests());
      if (HasFailure()) return;
    }
  }

  EXPECT_GT(met, isTls ? 1u : 5u);
  // The TLS library itself loses a block in some of the places where it finds no memory.
  const std::size_t lost = isTls ? met / 10 : 0;
  EXPECT_LE(liveBlocks(), live + lost);
  EXPECT_EQ(test_support::pluginDescriptors(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Plain, RequestShortageTest,
                         testing::Combine(testing::Values(false), testing::ValuesIn(errands()),
                                          testing::Values(Shortage::Once, Shortage::Lasting)),
                         &RequestShortageTest::nameOfCase);

INSTANTIATE_TEST_SUITE_P(Tls, RequestShortageTest,
                         testing::Combine(testing::Values(true), testing::Values(errand("Post")),
                                          testing::Values(Shortage::Once, Shortage::Lasting)),
                         &RequestShortageTest::nameOfCase);

class ShortageTest : public testing::TestWithParam<Shortage> {
 public:
  static std::string nameOfCase(const testing::TestParamInfo<Shortage>& info) {
    return nameOf(info.param);
  }
};

INSTANTIATE_TEST_SUITE_P(Table, ShortageTest, testing::Values(Shortage::Once, Shortage::Lasting),
                         &ShortageTest::nameOfCase);

TEST_P(ShortageTest, CreationRefusesOrSucceedsAndLeavesNothingBehind) {
  const Shop shop;
  std::uint64_t refusals = 0;
  std::uint64_t failed = 1;

  for (std::uint64_t n = 1; failed > 0; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    PluginRun run;
    shop.configure(run);
    run.configure("numClients", data_t(3));
    failAllocation(n, GetParam());

    const bool isCreated = run.create();

    failed = endShortage();
    if (!isCreated) {
      ++refusals;
      EXPECT_THAT(run.host().statusKeys(), IsEmpty());
      // In a lasting shortage the host itself has no memory for its log.
      if (GetParam() == Shortage::Once) {
        EXPECT_THAT(run.host().textsAt(2),
                    Contains(AnyOf(HasSubstr("Exception from create: std::bad_alloc"),
                                   HasSubstr("Exception from create: Failed to create status"))));
      }
      run.begin();
    } else {
      ASSERT_TRUE(run.setNextTowardsHost());
      ASSERT_TRUE(run.start());
    }
    EXPECT_EQ(run.perform(errand("Post").request()).status, 200);
    if (HasFailure()) return;
  }

  EXPECT_GT(refusals, 50u);
}

TEST_P(ShortageTest, StartAndShutdownRefuseOrSucceed) {
  const Shop shop;
  std::uint64_t failed = 1;
  std::uint64_t met = 0;

  for (std::uint64_t n = 1; failed > 0; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    PluginRun run;
    shop.configure(run);
    run.configure("numClients", data_t(3));
    ASSERT_TRUE(run.create());
    failAllocation(n, GetParam());

    const bool hasHostSide = run.setNextTowardsHost();
    const bool isStarted = run.start();

    failed = endShortage();
    EXPECT_TRUE(hasHostSide || run.setNextTowardsHost());
    EXPECT_TRUE(isStarted || run.start());
    EXPECT_EQ(run.perform(errand("Post").request()).status, 200);
    failAllocation(n, GetParam());

    run.shutdown();

    failed += endShortage();
    met += failed;
    if (HasFailure()) return;
  }

  EXPECT_GT(met, 0u);
}

TEST_P(ShortageTest, CycleGivesEverythingBack) {
  const Shop shop;
  std::size_t live = 0;
  for (int round = 0; round < 2; ++round) {
    live = liveBlocks();
    for (std::uint64_t n = 1, failed = 1; failed > 0; ++n) {
      PluginRun run;
      shop.configure(run);
      failAllocation(n, GetParam());
      run.create();
      failed = endShortage();
    }
  }

  EXPECT_EQ(liveBlocks(), live);
}

// What the host is not told to have been taken stays the host's, a barrier before it included.
TEST_P(ShortageTest, DeliveryTakesAMessageOrLeavesItWhole) {
  const Shop shop;
  PluginRun run;
  shop.configure(run);
  run.configure("numClients", data_t(3));
  run.begin();
  const Errand wanted = errand("Post");
  std::uint64_t refusals = 0;

  for (std::uint64_t n = 1, failed = 1; failed > 0; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    // The queue allocates for many messages at a time: each of its allocations has to be met.
    for (int repeated = 0; repeated < 20; ++repeated) {
      const std::int64_t id = run.requests();
      RequestMessage request = wanted.request();
      request.metadata("requestId", data_t(id));
      request.metadata("concurrencyControlFlush", data_t("true"));
      request.metadata("concurrencyControlKey", data_t(id));
      Message message = request.build();
      bool isTaken = false;
      {
        const PluginScope scope;
        failAllocation(n, GetParam());
        isTaken = run.send(message);
        failed = endShortage();
      }
      if (!isTaken) {
        ++refusals;
        ASSERT_EQ(message.metadata.size(), 4u);
        ASSERT_TRUE(run.send(message));
      }
      const Reply reply = run.waitForReply(id);
      ASSERT_EQ(reply.id, id);
      expectAnswered(reply, wanted, kMemoryTexts);  // the worker may have met the shortage, too
      if (HasFailure()) return;
    }
  }

  EXPECT_GT(refusals, 0u);
}

// The answer that was kept for the worst case has been given, and there is no memory for another
// one: the next request waits in the queue.
TEST(LastingShortageTest, RequestWaitsUntilItCanBeAnswered) {
  const Shop shop;
  PluginRun run;
  shop.configure(run);
  run.begin();
  const Errand wanted = errand("Post");
  ASSERT_EQ(run.perform(wanted.request()).status, 200);
  failAllocation(1, Shortage::Lasting);

  const Reply first = run.perform(wanted.request());
  RequestMessage request = wanted.request();
  request.metadata("requestId", data_t(run.requests()));
  Message message = request.build();
  ASSERT_TRUE(run.send(message));
  const std::uint64_t failedBefore = failedAllocations();
  while (failedAllocations() < failedBefore + 3) std::this_thread::yield();

  EXPECT_EQ(first.reason, "std::bad_alloc");
  EXPECT_EQ(run.replies(), run.requests() - 1);

  endShortage();

  EXPECT_EQ(run.waitForReply(run.requests() - 1).status, 200);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
