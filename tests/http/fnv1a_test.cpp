#include "http/fnv1a.h"

#include <gtest/gtest.h>

namespace com::corvane::connectivity::plugins {
namespace {

TEST(Fnv1aTest, GivesThePublishedHashes) {
  EXPECT_EQ(Fnv1a()(""), 0xcbf29ce484222325u);
  EXPECT_EQ(Fnv1a()("a"), 0xaf63dc4c8601ec8cu);
  EXPECT_EQ(Fnv1a()("foobar"), 0x85944171f73967e8u);
}

TEST(Fnv1aTest, TakesHighBytesAsUnsigned) {
  EXPECT_EQ(Fnv1a()("\xFF"), (0xcbf29ce484222325u ^ 0xFFu) * 0x100000001b3u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
