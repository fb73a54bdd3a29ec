#include "model/buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "kelhost/blocks.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(BufferTest, IsMadeOfALengthByTheHost) {
  HostCalls calls;

  const buffer_t buffer(5);

  EXPECT_EQ(calls.count("kel_allocate_buffer"), 1U);
  EXPECT_EQ(buffer.size(), 5U);
  EXPECT_EQ(buffer.raw()->length, 5U);
  EXPECT_EQ(buffer.view(), std::string(5, '\0'));
}

TEST(BufferTest, KeepsItsBytesEightBytesIntoTheBlock) {
  buffer_t buffer(2);

  buffer[0] = 1;
  buffer.at(1) = 255;

  EXPECT_EQ(buffer.data(), reinterpret_cast<unsigned char*>(buffer.raw()) + 8);
  EXPECT_EQ(kelhost::bytesOf(buffer.raw())[0], 1);
  EXPECT_EQ(kelhost::bytesOf(buffer.raw())[1], 255);
}

TEST(BufferTest, ReadsABlockOfTheHosts) {
  buffer_block* const block = kel_allocate_buffer(3);
  std::copy_n("xyz", 3, kelhost::bytesOf(block));

  const buffer_t buffer = buffer_t::adopt(block);

  EXPECT_EQ(buffer.view(), "xyz");
  EXPECT_EQ(buffer[2], 'z');
}

TEST(BufferTest, RefusesIndicesNotBelowTheLength) {
  buffer_t buffer(2);
  const buffer_t& constant = buffer;

  EXPECT_NO_THROW((void)buffer[1]);
  EXPECT_EQ(thrownText([&] { (void)buffer[2]; }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { (void)buffer.at(~std::uint64_t{0}); }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { (void)constant[2]; }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { (void)constant.at(2); }), "Out of bounds");
}

TEST(BufferTest, HasNothingWithoutABlock) {
  buffer_t buffer;

  EXPECT_EQ(buffer.size(), 0U);
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(buffer.data(), nullptr);
  EXPECT_EQ(buffer.view(), "");
  EXPECT_EQ(thrownText([&] { (void)buffer[0]; }), "Out of bounds");
}

TEST(BufferTest, OfLengthZeroHasABlockAndNoBytes) {
  buffer_t buffer(0);

  EXPECT_NE(buffer.raw(), nullptr);
  EXPECT_TRUE(buffer.empty());
  EXPECT_EQ(thrownText([&] { (void)buffer[0]; }), "Out of bounds");
}

TEST(BufferTest, CopiesBytesIntoABlockOfExactlyTheirNumber) {
  const std::string bytes("a\0b", 3);

  const buffer_t buffer = buffer_t::copyOf(bytes.data(), bytes.size());
  const buffer_t none = buffer_t::copyOf(nullptr, 0);

  EXPECT_EQ(buffer.view(), bytes);
  EXPECT_EQ(none.size(), 0U);
}

TEST(BufferTest, MovesWithoutTheHostAndReleasesOnce) {
  HostCalls calls;

  {
    buffer_t buffer(3);
    buffer_t moved(std::move(buffer));
    buffer_t assigned;
    assigned = std::move(moved);
    EXPECT_EQ(buffer.raw(), nullptr);
    EXPECT_EQ(moved.raw(), nullptr);
    EXPECT_EQ(assigned.size(), 3U);
    EXPECT_EQ(calls.total(), 1U);  // its allocation
  }

  EXPECT_EQ(calls.count("kel_free_buffer"), 1U);
}

TEST(BufferTest, ReleasesItsOldBlockWhenAssigned) {
  buffer_t buffer(3);
  HostCalls calls;

  buffer = buffer_t();

  EXPECT_EQ(calls.count("kel_free_buffer"), 1U);
  EXPECT_EQ(buffer.raw(), nullptr);
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
