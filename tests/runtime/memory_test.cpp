#include "runtime/memory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

TEST(MemoryTest, AllocatesBytesThatCanBeWritten) {
  void* const block = ov_malloc(1'000);
  ASSERT_NE(block, nullptr);

  std::memset(block, 0x5A, 1'000);

  EXPECT_EQ(static_cast<unsigned char*>(block)[999], 0x5A);
  ov_free(block);
}

TEST(MemoryTest, AlignsForEveryType) {
  void* const block = ov_malloc(1);

  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);

  ov_free(block);
}

// The address sanitizer's run tells when the two sides do not fit.
TEST(MemoryTest, IsGivenBackWithTheCLibrarysFree) {
  void* const block = ov_malloc(16);
  ASSERT_NE(block, nullptr);

  std::free(block);
}

TEST(MemoryTest, GivesBackWhatTheCLibraryAllocated) {
  void* const block = std::malloc(16);
  ASSERT_NE(block, nullptr);

  ov_free(block);
}

TEST(MemoryTest, AcceptsNull) { ov_free(nullptr); }

}  // namespace
