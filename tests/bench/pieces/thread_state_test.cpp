#include "bench/pieces/thread_state.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <latch>
#include <system_error>
#include <thread>

namespace {

using pieces::ThreadState;

TEST(ThreadStateTest, TellsThatTheCallerRuns) { EXPECT_FALSE(ThreadState(gettid()).isWaiting()); }

TEST(ThreadStateTest, TellsWhenAThreadBeginsToWait) {
  std::atomic<pid_t> number = 0;
  std::latch released(1);
  std::thread thread([&] {
    number = gettid();
    released.wait();
  });
  while (number == 0) std::this_thread::yield();
  const ThreadState state(number);

  while (!state.isWaiting()) std::this_thread::yield();
  EXPECT_TRUE(state.isWaiting());

  released.count_down();
  thread.join();
}

TEST(ThreadStateTest, RefusesAThreadThatIsNotThere) {
  EXPECT_THROW(ThreadState(0), std::system_error);
}

}  // namespace
