#include "bench/process_figures.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <latch>
#include <thread>
#include <vector>

namespace {

using bench::ProcessFigures;

TEST(ProcessFiguresTest, CountsDescriptors) {
  const auto before = ProcessFigures::now();
  const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  const auto during = ProcessFigures::now();
  ::close(descriptor);

  EXPECT_EQ(during.descriptors, before.descriptors + 1);
  EXPECT_EQ(ProcessFigures::now().descriptors, before.descriptors);
}

// Threads of tests before this one may stand in the system's list for a moment more.
TEST(ProcessFiguresTest, CountsThreads) {
  constexpr std::size_t kThreads = 50;
  std::latch done(1);
  std::vector<std::jthread> threads(kThreads);
  for (auto& thread : threads) thread = std::jthread([&done] { done.wait(); });
  const auto during = ProcessFigures::now();
  done.count_down();

  EXPECT_GE(during.threads, kThreads + 1);
  EXPECT_LT(during.threads, 2 * kThreads);
}

TEST(ProcessFiguresTest, SeesMemoryThatIsUsed) {
  constexpr std::size_t kBytes = 64 * 1024 * 1024;
  const auto before = ProcessFigures::now();
  void* const memory =
      ::mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  std::memset(memory, 1, kBytes);
  const auto during = ProcessFigures::now();
  ::munmap(memory, kBytes);

  EXPECT_GT(during.residentBytes, before.residentBytes + kBytes / 2);
}

}  // namespace
