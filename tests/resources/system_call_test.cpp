// System calls that fail at each single place with each error they are known for: every request is
// answered, and what was open is closed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <cerrno>
#include <tuple>

#include "resources/failing_call.h"
#include "resources/plugin_run.h"
#include "resources/shop.h"

namespace com::corvane::connectivity::plugins {
namespace {

using test_support::Call;
using test_support::endFailure;
using test_support::failCall;
using test_support::limitTransfers;

struct Failing {
  Call call;
  std::vector<int> errors;

  friend void PrintTo(const Failing& failing, std::ostream* out) { PrintTo(failing.call, out); }
};

std::vector<Failing> failures() {
  return {{Call::Socket, {EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES}},
          {Call::Connect, {ECONNREFUSED, ENETUNREACH, EHOSTUNREACH, ETIMEDOUT, EAGAIN, ECONNRESET}},
          {Call::DescriptorFlags, {EMFILE, EINTR}},
          {Call::GetOption, {ENOBUFS, ENOTSOCK}},
          {Call::SetOption, {ENOBUFS, ENOMEM, EINVAL}},
          {Call::Poll, {EINTR, ENOMEM}},
          {Call::Read, {EINTR, ECONNRESET, EAGAIN, ENOMEM, ETIMEDOUT}},
          {Call::Write, {EINTR, ECONNRESET, EPIPE, ENOBUFS, EAGAIN, ENOMEM}},
          {Call::Close, {EINTR, EIO}},
          {Call::Resolve, {EAI_AGAIN, EAI_FAIL, EAI_MEMORY, EAI_NONAME}}};
}

class SystemCallTest : public testing::TestWithParam<std::tuple<Failing, bool>> {
 public:
  static std::string nameOfCase(const testing::TestParamInfo<ParamType>& info) {
    const auto& [failing, isTls] = info.param;
    return std::string(nameOf(failing.call)) + (isTls ? "OverTls" : "");
  }
};

TEST_P(SystemCallTest, FailureIsAnsweredAndTheNextRequestSucceeds) {
  const auto& [failing, isTls] = GetParam();
  const Shop shop(isTls);
  const Errand wanted = errand("Post");
  PluginRun run;
  run.host().setLogLevel(kDebugLevel);
  shop.configure(run);
  // Over TLS the certificate is for the address.
  if (!isTls) run.configure("host", data_t(test_support::kKnownHost));
  run.begin();
  ASSERT_EQ(run.perform(wanted.request()).status, 200);
  std::size_t met = 0;

  // Handshakes take long under a sanitizer: over TLS, one error has to stand for all.
  const std::size_t errors = isTls ? 1 : failing.errors.size();
  for (const int error : std::vector(failing.errors.begin(), failing.errors.begin() + errors)) {
    bool hasFailed = true;
    for (std::uint64_t n = 1; hasFailed; ++n) {
      SCOPED_TRACE("call " + std::to_string(n) + ", error " + std::to_string(error));
      failCall(failing.call, n, error);

      const Reply reply = run.perform(wanted.request());

      hasFailed = endFailure();
      met += hasFailed ? 1 : 0;
      // What the text is depends on the library; that there is one does not.
      expectAnswered(reply, wanted, {"e", "E"});
      EXPECT_GT(reply.reason.size(), reply.status == 200 ? 1u : 6u) << reply.reason;
      const Reply next = run.perform(wanted.request());
      EXPECT_EQ(next.status, 200) << next.reason;
      if (HasFailure()) return;
    }
  }

  // The name of an address is not asked for.
  const bool isUnused = isTls && failing.call == Call::Resolve;
  EXPECT_EQ(met > 0, !isUnused);
  run.shutdown();
  run.destroy();
  EXPECT_EQ(test_support::pluginDescriptors(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Table, SystemCallTest,
                         testing::Combine(testing::ValuesIn(failures()), testing::Bool()),
                         &SystemCallTest::nameOfCase);

class WireShortageTest : public testing::TestWithParam<bool> {
 public:
  static std::string nameOfCase(const testing::TestParamInfo<bool>& info) {
    return info.param ? "OverTls" : "Plain";
  }
};

INSTANTIATE_TEST_SUITE_P(BothWires, WireShortageTest, testing::Bool(),
                         &WireShortageTest::nameOfCase);

TEST_P(WireShortageTest, BytesOneByOneMakeTheSameRequestAndAnswer) {
  const Shop shop(GetParam());
  PluginRun run;
  shop.configure(run);
  run.begin();

  limitTransfers(1);
  for (const Errand& wanted : errands()) {
    const Reply reply = run.perform(wanted.request());
    EXPECT_EQ(reply.status, wanted.reason.empty() ? 200 : 400) << wanted.name;
    EXPECT_EQ(reply.payload, wanted.reason.empty() ? wanted.payload : wanted.reason);
  }
  limitTransfers(0);
}

// ---- Threads

TEST(ThreadShortageTest, StartIsRefusedAndCanBeTriedAgain) {
  constexpr int kWorkers = 4;
  const Shop shop;
  for (std::uint64_t n = 1; n <= kWorkers; ++n) {
    SCOPED_TRACE("thread " + std::to_string(n));
    PluginRun run;
    shop.configure(run);
    run.configure("numClients", data_t(kWorkers));
    ASSERT_TRUE(run.create());
    ASSERT_TRUE(run.setNextTowardsHost());
    failCall(Call::CreateThread, n, EAGAIN);

    EXPECT_FALSE(run.start());

    EXPECT_TRUE(endFailure());
    EXPECT_EQ(
        run.host().textsAt(2),
        std::vector<std::string>({"<connectivity.plugin.chain> Exception from start: Thread "
                                  "\"clientSessionThread\" cannot be started: Resource temporarily "
                                  "unavailable"}));
    EXPECT_TRUE(run.start());
    EXPECT_EQ(run.perform(errand("Post").request()).status, 200);
  }
}

TEST(ThreadShortageTest, WhatWasNotStartedWholeStopsAtOnce) {
  const Shop shop;
  for (std::uint64_t n = 1; n <= 4; ++n) {
    PluginRun run;
    shop.configure(run);
    run.configure("numClients", data_t(4));
    ASSERT_TRUE(run.create());
    failCall(Call::CreateThread, n, EAGAIN);
    EXPECT_FALSE(run.start());
    EXPECT_TRUE(endFailure());

    EXPECT_TRUE(run.shutdown());
    EXPECT_TRUE(run.destroy());
    EXPECT_EQ(run.host().statusKeys(), std::vector<std::string>());
  }
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
