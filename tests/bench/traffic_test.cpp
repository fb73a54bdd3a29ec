#include "bench/traffic.h"

#include <gtest/gtest.h>

#include <bit>
#include <map>
#include <set>
#include <string>

namespace {

using bench::Traffic;

constexpr std::size_t kMiB = 1024 * 1024;

TEST(TrafficTest, IsTheSameForTheSameSeed) {
  const Traffic one(4, kMiB);
  const Traffic same(4, kMiB);
  const Traffic other(5, kMiB);
  int different = 0;
  for (std::uint64_t id = 1; id < 1000; ++id) {
    EXPECT_EQ(one.requestBody(id), same.requestBody(id));
    EXPECT_EQ(one.responseBody(id), same.responseBody(id));
    EXPECT_EQ(one.key(id), same.key(id));
    EXPECT_STREQ(one.method(id), same.method(id));
    EXPECT_EQ(one.flush(id), same.flush(id));
    different += one.requestBody(id) != other.requestBody(id) ? 1 : 0;
  }
  EXPECT_GT(different, 900);
}

TEST(TrafficTest, HasEmptyAndFullBodiesAndAllSizesBetween) {
  const Traffic traffic(1, kMiB);
  std::map<int, int> sizes;  // by the number of bits of the length
  int full = 0;
  for (std::uint64_t id = 1; id <= 20'000; ++id) {
    const std::size_t bytes = traffic.requestBody(id).size();
    ASSERT_LE(bytes, kMiB);
    full += bytes == kMiB ? 1 : 0;
    ++sizes[static_cast<int>(std::bit_width(bytes))];
  }
  EXPECT_NEAR(sizes[0], 20'000 / 16, 200);
  EXPECT_NEAR(full, 20'000 / 256, 40);
  for (int bits = 0; bits <= 20; ++bits) EXPECT_GT(sizes[bits], 10) << bits;
}

TEST(TrafficTest, KeepsToSmallBodies) {
  const Traffic none(1, 0);
  const Traffic tiny(1, 3);
  std::set<std::size_t> sizes;
  for (std::uint64_t id = 1; id < 1000; ++id) {
    EXPECT_TRUE(none.requestBody(id).empty());
    sizes.insert(tiny.responseBody(id).size());
  }
  EXPECT_EQ(sizes, (std::set<std::size_t>{0, 1, 2, 3}));
}

TEST(TrafficTest, GivesRequestAndResponseBodiesOfTheirOwn) {
  const Traffic traffic(1, kMiB);
  int equal = 0;
  for (std::uint64_t id = 1; id < 1000; ++id) {
    equal += traffic.requestBody(id) == traffic.responseBody(id) ? 1 : 0;
  }
  EXPECT_LT(equal, 20);
}

TEST(TrafficTest, SendsMethodsWithoutABodyOnlyWithoutABody) {
  const Traffic traffic(1, kMiB);
  std::map<std::string, int> methods;
  for (std::uint64_t id = 1; id < 10'000; ++id) {
    const std::string method = traffic.method(id);
    ++methods[method];
    if (method == "GET" || method == "DELETE") {
      EXPECT_TRUE(traffic.requestBody(id).empty());
    }
  }
  EXPECT_EQ(methods.size(), 4u);
}

TEST(TrafficTest, GivesKeysToThreeRequestsOfFour) {
  const Traffic traffic(1, kMiB);
  std::set<std::uint64_t> keys;
  int without = 0;
  int flushes = 0;
  for (std::uint64_t id = 1; id <= 100'000; ++id) {
    const auto key = traffic.key(id);
    if (key) keys.insert(*key);
    without += key ? 0 : 1;
    flushes += traffic.flush(id) ? 1 : 0;
  }
  EXPECT_NEAR(without, 25'000, 600);
  EXPECT_NEAR(flushes, 100, 50);
  EXPECT_EQ(keys.size(), Traffic::kKeys);
  EXPECT_LT(*keys.rbegin(), Traffic::kKeys);
}

}  // namespace
