// The process has no descriptor left: requests are answered, creation says what it lacks, and all
// is well when there are some again.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <system_error>

#include "resources/plugin_run.h"
#include "resources/shop.h"

namespace com::corvane::connectivity::plugins {
namespace {

using testing::Contains;
using testing::HasSubstr;

// As long as it lives, the system gives this process no descriptor.
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &limits_);
    rlimit few = limits_;
    few.rlim_cur = 3;  // what is open stays open
    set(few);
    for (int taken = dup(STDERR_FILENO); taken >= 0; taken = dup(STDERR_FILENO)) {
      taken_.push_back(taken);  // a standard descriptor that was not open
    }
  }
  ~NoDescriptors() {
    for (const int descriptor : taken_) close(descriptor);
    set(limits_);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  static void set(const rlimit& limits) {
    if (setrlimit(RLIMIT_NOFILE, &limits) != 0) {
      throw std::system_error(errno, std::generic_category(), "setrlimit");
    }
  }

  rlimit limits_{};
  std::vector<int> taken_;
};

class DescriptorTest : public testing::TestWithParam<bool> {
 public:
  static std::string nameOfCase(const testing::TestParamInfo<bool>& info) {
    return info.param ? "OverTls" : "Plain";
  }
};

INSTANTIATE_TEST_SUITE_P(BothWires, DescriptorTest, testing::Bool(), &DescriptorTest::nameOfCase);

TEST_P(DescriptorTest, RequestFailsWithATextAndTheNextOneSucceeds) {
  const Shop shop(GetParam());
  const Errand wanted = errand("Post");
  PluginRun run;
  shop.configure(run);
  run.begin();
  ASSERT_EQ(run.perform(wanted.request()).status, 200);

  Reply reply;
  {
    const NoDescriptors none;
    reply = run.perform(wanted.request());
  }

  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.reason, "I/O error: Too many open files");
  EXPECT_EQ(run.perform(wanted.request()).status, 200);
}

TEST_P(DescriptorTest, CreationSucceedsOrSaysWhatItLacks) {
  const Shop shop(GetParam());
  PluginRun run;
  shop.configure(run);

  bool isCreated = false;
  {
    const NoDescriptors none;
    isCreated = run.create();
  }

  const bool needsFiles = GetParam();  // those of the certificate authorities
  EXPECT_EQ(isCreated, !needsFiles);
  if (needsFiles) {
    EXPECT_THAT(run.host().textsAt(2), Contains(HasSubstr("Exception from create: SSL")));
    EXPECT_EQ(run.host().statusKeys(), std::vector<std::string>());
    run.begin();
  } else {
    ASSERT_TRUE(run.setNextTowardsHost());
    ASSERT_TRUE(run.start());
  }
  EXPECT_EQ(run.perform(errand("Post").request()).status, 200);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
