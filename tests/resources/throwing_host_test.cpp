// A host whose functions for values throw what is no exception of the standard: the request is
// answered, and the next one goes its way.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "kel/host_values.h"
#include "resources/plugin_run.h"
#include "resources/plugin_threads.h"
#include "resources/shop.h"

namespace {

std::atomic<bool> throwsNext = false;

}  // namespace

extern "C" {

// The linker directs the plugin's calls here.
buffer_block* __real_kel_allocate_buffer(std::uint64_t length);
buffer_block* __wrap_kel_allocate_buffer(std::uint64_t length);

buffer_block* __wrap_kel_allocate_buffer(std::uint64_t length) {
  if (test_support::onPluginThread() && throwsNext.exchange(false)) throw 42;
  return __real_kel_allocate_buffer(length);
}

}  // extern "C"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::Contains;
using testing::EndsWith;

constexpr std::int32_t kWarn = 3;

TEST(ThrowingHostTest, IsAnsweredForWithAFailure) {
  const Shop shop;
  const Errand wanted = errand("Post");
  PluginRun run;
  shop.configure(run);
  run.begin();
  ASSERT_EQ(run.perform(wanted.request()).status, 200);  // which keeps an answer in reserve
  throwsNext = true;

  const Reply reply = run.perform(wanted.request());

  EXPECT_FALSE(throwsNext);
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.reason, "unknown exception");
  EXPECT_THAT(run.host().textsAt(kWarn),
              Contains(EndsWith("Caught exception processing a request: unknown exception")));
  EXPECT_EQ(run.perform(wanted.request()).status, 200);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
