#include "runtime/thread.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "runtime/test_threads.h"

namespace com::orvex {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// The names of this process's threads, as the system shows them.
std::vector<std::string> systemNames() {
  std::vector<std::string> names;
  DIR* const tasks = opendir("/proc/self/task");
  if (tasks == nullptr) return names;
  while (const dirent* task = readdir(tasks)) {
    std::ifstream file(std::string("/proc/self/task/") + task->d_name + "/comm");
    if (std::string name; std::getline(file, name)) names.push_back(name);
  }
  closedir(tasks);
  return names;
}

// Derived classes of other builds rely on where the operations stand in the table.
TEST(ThreadTest, TableHoldsReferencesStartStopSignalRunInThisOrder) {
  class Recorder final : public Thread {
   public:
    explicit Recorder(std::vector<std::string>& calls) : Thread("recorder"), calls_(calls) {}
    void addRef(const char* label) override { calls_.push_back(std::string("addRef ") + label); }
    void dropRef(const char* label) override { calls_.push_back(std::string("dropRef ") + label); }
    void start() override { calls_.emplace_back("start"); }
    void stop() override { calls_.emplace_back("stop"); }
    void signal() override { calls_.emplace_back("signal"); }
    int run() override {
      calls_.emplace_back("run");
      return 7;
    }

   private:
    std::vector<std::string>& calls_;
  };
  using LabelOperation = void (*)(Thread*, const char*);
  using Operation = void (*)(Thread*);
  using RunOperation = int (*)(Thread*);
  std::vector<std::string> calls;
  Recorder recorder(calls);
  Thread* const thread = &recorder;

  // The destructor takes the first two places: without and with giving back the memory.
  void* const* const table = *reinterpret_cast<void* const* const*>(thread);
  reinterpret_cast<LabelOperation>(table[2])(thread, "a");
  reinterpret_cast<LabelOperation>(table[3])(thread, "b");
  for (int place = 4; place <= 6; ++place) reinterpret_cast<Operation>(table[place])(thread);
  EXPECT_EQ(reinterpret_cast<RunOperation>(table[7])(thread), 7);

  EXPECT_EQ(calls,
            (std::vector<std::string>{"addRef a", "dropRef b", "start", "stop", "signal", "run"}));
}

TEST(ThreadTest, RunsOnAThreadOfItsOwn) {
  std::thread::id runner;
  const RefPtr<Worker> worker = makeWorker([&](Worker&) { runner = std::this_thread::get_id(); });

  worker->start();
  worker->stop();

  EXPECT_NE(runner, std::thread::id());
  EXPECT_NE(runner, std::this_thread::get_id());
}

TEST(ThreadTest, TheDefaultRunEndsAtOnce) {
  const RefPtr<Thread> thread(new Thread("nothing to do"));

  thread->start();
  thread->stop();

  EXPECT_EQ(thread->run(), 0);
}

TEST(ThreadTest, KeepsItsWholeName) {
  const RefPtr<Thread> thread(new Thread("a name of more than fifteen bytes"));

  EXPECT_EQ(thread->name(), "a name of more than fifteen bytes");
}

TEST(ThreadTest, TheSystemShowsFifteenBytesOfItsName) {
  std::latch isRunning(1);
  std::latch mayEnd(1);
  const RefPtr<Worker> worker(new Worker("clientSessionThread", [&](Worker&) {
    isRunning.count_down();
    mayEnd.wait();
  }));

  worker->start();
  isRunning.wait();
  const std::vector<std::string> names = systemNames();
  mayEnd.count_down();
  worker->stop();

  EXPECT_THAT(names, Contains("clientSessionTh"));
}

TEST(ThreadTest, TheSystemShowsANameOfFifteenBytesWhole) {
  std::vector<std::string> names;
  const RefPtr<Worker> worker(
      new Worker("fifteen bytes..", [&](Worker&) { names = systemNames(); }));

  worker->start();
  worker->stop();

  EXPECT_THAT(names, Contains("fifteen bytes.."));
}

TEST(ThreadTest, TheNameOfItsMakerStays) {
  const std::vector<std::string> before = systemNames();
  const RefPtr<Worker> worker(new Worker("another name", [](Worker&) {}));

  worker->start();
  worker->stop();

  EXPECT_THAT(systemNames(), Not(Contains("another name")));
  EXPECT_THAT(systemNames(), Contains(before.front()));
}

TEST(ThreadTest, IsCurrentOnItselfOnly) {
  bool isCurrentInside = false;
  const RefPtr<Worker> worker =
      makeWorker([&](Worker& self) { isCurrentInside = self.isCurrent(); });
  EXPECT_FALSE(worker->isCurrent());

  worker->start();
  EXPECT_FALSE(worker->isCurrent());
  worker->stop();

  EXPECT_TRUE(isCurrentInside);
  EXPECT_FALSE(worker->isCurrent());
}

TEST(ThreadTest, IsCurrentWhileAnotherThreadWaitsForItsEnd) {
  bool isCurrentInside = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) {
    while (!self.stopRequested()) std::this_thread::yield();
    isCurrentInside = self.isCurrent();
  });

  worker->start();
  worker->stop();

  EXPECT_TRUE(isCurrentInside);
}

TEST(ThreadTest, OneThreadIsNotAnother) {
  bool isOtherCurrent = true;
  const RefPtr<Sleeper> other(new Sleeper);
  const RefPtr<Worker> worker = makeWorker([&](Worker&) { isOtherCurrent = other->isCurrent(); });

  other->start();
  worker->start();
  worker->stop();
  other->stop();

  EXPECT_FALSE(isOtherCurrent);
}

TEST(ThreadTest, SigpipeIsBlocked) {
  int isBlocked = -1;
  const RefPtr<Worker> worker = makeWorker([&](Worker&) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    isBlocked = sigismember(&blocked, SIGPIPE);
  });

  worker->start();
  worker->stop();

  EXPECT_EQ(isBlocked, 1);
}

TEST(ThreadTest, AWriteToAClosedPipeIsAnErrorAndNotTheEndOfTheProcess) {
  std::vector<int> ends(2);
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  ssize_t written = 0;
  int error = 0;
  const RefPtr<Worker> worker = makeWorker([&](Worker&) {
    written = write(ends[1], "x", 1);
    error = errno;
  });

  worker->start();
  worker->stop();

  EXPECT_EQ(written, -1);
  EXPECT_EQ(error, EPIPE);
  close(ends[1]);
}

TEST(ThreadTest, TheSignalsOfItsMakerStayAsTheyAre) {
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  const RefPtr<Worker> worker = makeWorker([](Worker&) {});

  worker->start();
  worker->stop();

  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGPIPE), sigismember(&before, SIGPIPE));
}

TEST(ThreadDeathTest, AnExceptionThatLeavesRunEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const RefPtr<Worker> worker =
      makeWorker([](Worker&) { throw std::runtime_error("left the run"); });

  EXPECT_DEATH(
      {
        worker->start();
        worker->stop();
      },
      HasSubstr("left the run"));
}

// The place of a virtual function in the table of its class.
template <typename Function>
std::uintptr_t slotOf(Function function) {
  static_assert(sizeof(function) == 2 * sizeof(std::uintptr_t));
  std::uintptr_t offset = 0;
  std::memcpy(&offset, &function, sizeof offset);
  return (offset - 1) / sizeof(void*);
}

// The destructor has the first two slots.
TEST(ThreadTest, VirtualFunctionsStandInTheirOrder) {
  EXPECT_EQ(slotOf(&Thread::addRef), 2U);
  EXPECT_EQ(slotOf(&Thread::dropRef), 3U);
  EXPECT_EQ(slotOf(&Thread::start), 4U);
  EXPECT_EQ(slotOf(&Thread::stop), 5U);
  EXPECT_EQ(slotOf(&Thread::signal), 6U);
  EXPECT_EQ(slotOf(&Thread::run), 7U);
}

}  // namespace
}  // namespace com::orvex
