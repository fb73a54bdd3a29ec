// Functions of the host that throw: no answer hangs on a line of the log or a figure on a display.
#include <gtest/gtest.h>

#include <exception>
#include <new>
#include <stdexcept>

#include "resources/plugin_run.h"
#include "resources/shop.h"

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::int64_t kTrace = 6;

class HostFailureTest : public testing::Test {
 protected:
  HostFailureTest() {
    run_.host().setLogLevel(kTrace);
    shop_.configure(run_);
    run_.begin();
  }

  ~HostFailureTest() override { setFailure(nullptr); }

  void setFailure(const std::exception_ptr& failure) {
    run_.host().throwFromLog(failure);
    run_.host().throwFromStatus(failure);
  }

  const Shop shop_;
  PluginRun run_;
};

TEST_F(HostFailureTest, EveryErrandIsDoneAsWithoutIt) {
  for (const auto& failure :
       {std::make_exception_ptr(std::runtime_error("no disk")),
        std::make_exception_ptr(std::bad_alloc()), std::make_exception_ptr(42)}) {
    setFailure(failure);
    for (const Errand& wanted : errands()) {
      const Reply reply = run_.perform(wanted.request());
      EXPECT_EQ(reply.status, wanted.reason.empty() ? 200 : 400) << wanted.name;
      EXPECT_EQ(reply.payload, wanted.reason.empty() ? wanted.payload : wanted.reason);
    }
  }
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
