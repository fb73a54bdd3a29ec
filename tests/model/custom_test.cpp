#include "model/custom.h"

#include <gtest/gtest.h>

#include <utility>

#include "model/host_calls.h"
#include "model/host_made.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(CustomTest, ReleasesItsOldBlockWhenAssigned) {
  CustomObject object;
  custom_t custom = custom_t::adopt(object.block());

  custom = custom_t();

  EXPECT_EQ(object.releases(), 1);
  EXPECT_EQ(custom.raw(), nullptr);
}

TEST(CustomTest, IsGivenBackToTheHostOnce) {
  CustomObject object;
  HostCalls calls;

  {
    custom_t custom = custom_t::adopt(object.block());
    custom_t moved(std::move(custom));
    custom_t assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.raw(), object.block());
    EXPECT_EQ(moved.raw(), nullptr);
    EXPECT_EQ(object.releases(), 0);
  }

  EXPECT_EQ(object.releases(), 1);
  EXPECT_EQ(calls.count("kel_free_custom"), 1U);
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
