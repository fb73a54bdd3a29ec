#include "model/map_key.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "kel/host_values.h"
#include "model/host_calls.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(MapKeyTest, HashesItsTextOnce) {
  HostCalls calls;

  const MapKey key("requestId");
  const std::uint64_t hash = key.hash();

  EXPECT_EQ(calls.count("kel_hash_string"), 1U);
  EXPECT_EQ(hash, kel_hash_string("requestId"));
  EXPECT_STREQ(key.text(), "requestId");
  EXPECT_EQ(key.key().tag(), KEL_TAG_STRING);
}

TEST(MapKeyTest, RefusesANullText) {
  EXPECT_EQ(thrownText([] { MapKey key(nullptr); }),
            "Cannot use a null char* as a data_t value (consider using an empty data_t() instead)");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
