#include "http/body_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace com::corvane::connectivity::plugins {
namespace {

constexpr std::size_t kMiB = 1024 * 1024;

// Bytes of which no two stretches are the same for long.
std::string pattern(std::size_t bytes) {
  std::string text(bytes, '\0');
  unsigned state = 1;
  for (char& c : text) {
    state = state * 1664525 + 1013904223;
    c = static_cast<char>(state >> 24);
  }
  return text;
}

void append(BodyBuffer& body, const std::string& text) {
  std::copy(text.begin(), text.end(), body.room(text.size()));
  body.add(text.size());
}

std::string moved(BodyBuffer& body) {
  std::string target(body.size(), '\0');
  body.moveTo(reinterpret_cast<unsigned char*>(target.data()));
  return target;
}

class BodyBufferTest : public testing::Test {
 protected:
  BodyBuffer body_;
};

TEST_F(BodyBufferTest, KeepsItsContentWhileItGrows) {
  const std::string text = pattern(5 * kMiB);
  for (std::size_t at = 0; at < text.size(); at += kMiB) append(body_, text.substr(at, kMiB));

  EXPECT_TRUE(body_.view() == text);
}

TEST_F(BodyBufferTest, MovesContentOfAnyLengthWhole) {
  for (const std::size_t bytes : {std::size_t{0}, std::size_t{1}, BodyBuffer::kKeptBytesMax,
                                  16 * kMiB, 16 * kMiB + 1, 32 * kMiB, 50 * kMiB + 3}) {
    const std::string text = pattern(bytes);
    append(body_, text);

    EXPECT_TRUE(moved(body_) == text) << bytes;
    EXPECT_EQ(body_.size(), 0u);
  }
}

TEST_F(BodyBufferTest, KeepsTheMemoryOfASmallBody) {
  append(body_, pattern(BodyBuffer::kKeptBytesMax));

  moved(body_);

  EXPECT_EQ(body_.capacityForTest(), BodyBuffer::kKeptBytesMax);
}

TEST_F(BodyBufferTest, GivesTheMemoryOfALargeBodyBackWhenItIsMoved) {
  append(body_, pattern(BodyBuffer::kKeptBytesMax + 1));

  moved(body_);

  EXPECT_EQ(body_.capacityForTest(), 0u);
}

TEST_F(BodyBufferTest, GivesTheMemoryOfALargeBodyBackWhenItIsCleared) {
  append(body_, pattern(BodyBuffer::kKeptBytesMax + 1));

  body_.clear();

  EXPECT_EQ(body_.capacityForTest(), 0u);
  EXPECT_EQ(body_.size(), 0u);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
