// A connection that the system aborts while the answer is waited for: tried again, like one that
// the peer has ended, and told apart from it in the log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "resources/failing_call.h"
#include "resources/plugin_run.h"
#include "resources/shop.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::Contains;
using testing::EndsWith;

TEST(AbortedConnectionTest, IsTriedAgainAndNamedInTheLog) {
  const Shop shop;
  const Errand wanted = errand("Post");
  PluginRun run;
  run.host().setLogLevel(kDebugLevel);
  shop.configure(run);
  run.begin();
  test_support::failCall(test_support::Call::Read, 1, ECONNABORTED);

  const Reply reply = run.perform(wanted.request());

  EXPECT_TRUE(test_support::endFailure());
  EXPECT_EQ(reply.status, 200) << reply.reason;
  EXPECT_EQ(reply.payload, wanted.payload);
  EXPECT_THAT(run.host().textsAt(kDebugLevel),
              Contains(EndsWith("Caught a Poco::Net::ConnectionAbortedException processing a "
                                "request, will retry once: Software caused connection abort ()")));
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
