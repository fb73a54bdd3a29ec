#include "runtime/thread.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <latch>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/exception.h"

namespace com::orvex {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Runs what it is given.
class Worker : public Thread {
 public:
  Worker(std::string name, std::function<void(Worker&)> body)
      : Thread(std::move(name)), body_(std::move(body)) {}
  int run() override {
    body_(*this);
    return 0;
  }

 private:
  std::function<void(Worker&)> body_;
};

RefPtr<Worker> makeWorker(std::function<void(Worker&)> body) {
  return RefPtr<Worker>(new Worker("worker", std::move(body)));
}

// Waits on a condition until it is asked to end, as a worker with a queue does.
class Sleeper : public Thread {
 public:
  Sleeper() : Thread("sleeper") {}
  void signal() override {
    const AutoMutex lock(mutex_);
    Thread::signal();
    condition_.broadcast();
  }
  int run() override {
    AutoMutex lock(mutex_);
    while (!stopRequested()) condition_.wait();
    hasEnded_ = true;
    return 0;
  }
  bool hasEnded() const { return hasEnded_; }

 private:
  Mutex mutex_{"Sleeper"};
  Condition condition_{mutex_};
  std::atomic<bool> hasEnded_ = false;
};

std::string startFailure(Thread& thread) {
  try {
    thread.start();
  } catch (const Exception& failure) {
    return failure.what();
  }
  return "none";
}

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

TEST(ThreadTest, StopAsksAndWaitsForTheEnd) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();

  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadTest, SignalAsksForTheEnd) {
  const RefPtr<Thread> thread(new Thread("asked"));
  EXPECT_FALSE(thread->stopRequested());

  thread->signal();

  EXPECT_TRUE(thread->stopRequested());
}

TEST(ThreadTest, AThreadAskedToEndBeforeItsStartStillRunsAndKnows) {
  bool wasAsked = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) { wasAsked = self.stopRequested(); });

  worker->signal();
  worker->start();
  worker->stop();

  EXPECT_TRUE(wasAsked);
}

TEST(ThreadTest, StopOfAThreadNeverStartedReturns) {
  const RefPtr<Sleeper> sleeper(new Sleeper);

  sleeper->stop();

  EXPECT_FALSE(sleeper->hasEnded());
}

TEST(ThreadTest, StopOfAStoppedThreadReturns) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();
  sleeper->stop();

  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadTest, StopOfAThreadWhoseRunHasEndedReturns) {
  std::latch hasEnded(1);
  const RefPtr<Worker> worker = makeWorker([&](Worker&) { hasEnded.count_down(); });
  worker->start();
  hasEnded.wait();

  worker->stop();

  EXPECT_FALSE(worker->isCurrent());
}

TEST(ThreadTest, StoppedFromTwoThreadsAtOnceBothSeeItsEnd) {
  for (int round = 0; round < 500; ++round) {
    const RefPtr<Sleeper> sleeper(new Sleeper);
    sleeper->start();
    std::latch go(2);
    std::atomic<int> sawTheEnd = 0;
    {
      std::vector<std::jthread> stoppers;
      for (int i = 0; i < 2; ++i) {
        stoppers.emplace_back([&] {
          go.arrive_and_wait();
          sleeper->stop();
          if (sleeper->hasEnded()) ++sawTheEnd;
        });
      }
    }

    ASSERT_EQ(sawTheEnd, 2);
  }
}

TEST(ThreadTest, StopOnItselfAsksAndReturns) {
  bool wasAsked = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) {
    self.stop();
    wasAsked = self.stopRequested();
  });

  worker->start();
  worker->stop();

  EXPECT_TRUE(wasAsked);
}

TEST(ThreadTest, StopAfterStopOnItselfStillWaitsForTheEnd) {
  std::latch hasStoppedItself(1);
  std::latch mayEnd(1);
  std::atomic<bool> hasEnded = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) {
    self.stop();
    hasStoppedItself.count_down();
    mayEnd.wait();
    hasEnded = true;
  });
  worker->start();
  hasStoppedItself.wait();

  mayEnd.count_down();
  worker->stop();

  EXPECT_TRUE(hasEnded);
}

TEST(ThreadTest, StopOnItselfReturnsWhileAnotherThreadWaitsForItsEnd) {
  const RefPtr<Worker> worker = makeWorker([](Worker& self) {
    while (!self.stopRequested()) std::this_thread::yield();
    self.stop();
  });
  worker->start();

  worker->stop();

  EXPECT_FALSE(worker->isCurrent());
}

// Notes how signal is called.
class Signalled : public Thread {
 public:
  Signalled() : Thread("signalled") {}
  void signal() override {
    ++signals_;
    wasRequestedBefore_ = stopRequested();
  }
  int run() override {
    while (!stopRequested()) std::this_thread::yield();
    return 0;
  }
  int signals() const { return signals_; }
  bool wasRequestedBefore() const { return wasRequestedBefore_; }

 private:
  std::atomic<int> signals_ = 0;
  std::atomic<bool> wasRequestedBefore_ = false;
};

TEST(ThreadTest, StopCallsSignalOfTheDerivedClassOnceItIsAsked) {
  const RefPtr<Signalled> thread(new Signalled);
  thread->start();

  thread->stop();

  EXPECT_EQ(thread->signals(), 1);
  EXPECT_TRUE(thread->wasRequestedBefore());
}

TEST(ThreadTest, StopCallsNoSignalWhereNothingRuns) {
  const RefPtr<Signalled> neverStarted(new Signalled);
  const RefPtr<Signalled> stopped(new Signalled);
  stopped->start();
  stopped->stop();

  neverStarted->stop();
  stopped->stop();

  EXPECT_EQ(neverStarted->signals(), 0);
  EXPECT_EQ(stopped->signals(), 1);
}

TEST(ThreadTest, StartedTwiceItRunsOnce) {
  std::atomic<int> runs = 0;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) {
    ++runs;
    while (!self.stopRequested()) std::this_thread::yield();
  });

  worker->start();
  worker->start();
  worker->stop();

  EXPECT_EQ(runs, 1);
}

TEST(ThreadTest, StartedAgainAfterItsEndItDoesNotRunAgain) {
  std::atomic<int> runs = 0;
  std::latch hasEnded(1);
  const RefPtr<Worker> worker = makeWorker([&](Worker&) {
    ++runs;
    hasEnded.count_down();
  });
  worker->start();
  hasEnded.wait();

  worker->start();
  worker->stop();

  EXPECT_EQ(runs, 1);
}

TEST(ThreadTest, StartedFromTwoThreadsAtOnceItRunsOnce) {
  for (int round = 0; round < 500; ++round) {
    std::atomic<int> runs = 0;
    const RefPtr<Worker> worker = makeWorker([&](Worker&) { ++runs; });
    std::latch go(2);
    {
      std::vector<std::jthread> starters;
      for (int i = 0; i < 2; ++i) {
        starters.emplace_back([&] {
          go.arrive_and_wait();
          worker->start();
        });
      }
    }
    worker->stop();

    ASSERT_EQ(runs, 1);
  }
}

TEST(ThreadTest, StartAfterStopIsRefused) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();
  sleeper->stop();

  EXPECT_EQ(startFailure(*sleeper), "Thread \"sleeper\" cannot be started: it has been stopped");
}

TEST(ThreadTest, StartAfterStopOfAThreadNeverStartedIsRefused) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->stop();

  EXPECT_EQ(startFailure(*sleeper), "Thread \"sleeper\" cannot be started: it has been stopped");
}

TEST(ThreadTest, StartedAndStoppedAtOnceItNeverRunsAfterStop) {
  for (int round = 0; round < 500; ++round) {
    const RefPtr<Sleeper> sleeper(new Sleeper);
    std::latch go(2);
    std::string failure;
    bool hadEnded = false;
    {
      std::jthread starter([&] {
        go.arrive_and_wait();
        failure = startFailure(*sleeper);
      });
      go.arrive_and_wait();
      sleeper->stop();
      hadEnded = sleeper->hasEnded();
    }

    if (failure == "none") {
      ASSERT_TRUE(hadEnded);
    } else {
      ASSERT_EQ(failure, "Thread \"sleeper\" cannot be started: it has been stopped");
      ASSERT_FALSE(sleeper->hasEnded());
    }
  }
}

TEST(ThreadTest, StartWithoutAReferenceIsRefused) {
  Sleeper sleeper;

  EXPECT_EQ(startFailure(sleeper),
            "Thread \"sleeper\" cannot be started: no reference to it is held");
}

// Gives threads made without attributes a stack that no address space has room for.
class StackTooLarge {
 public:
  StackTooLarge() {
    pthread_getattr_default_np(&usual_);
    pthread_attr_t large;
    pthread_attr_init(&large);
    pthread_attr_setstacksize(&large, std::size_t{1} << 48);
    pthread_setattr_default_np(&large);
    pthread_attr_destroy(&large);
  }
  ~StackTooLarge() {
    pthread_setattr_default_np(&usual_);
    pthread_attr_destroy(&usual_);
  }

 private:
  pthread_attr_t usual_{};
};

TEST(ThreadTest, AThreadThatTheSystemRefusesIsReportedWithItsReason) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  const StackTooLarge noRoom;

  EXPECT_EQ(startFailure(*sleeper),
            "Thread \"sleeper\" cannot be started: Resource temporarily unavailable");
}

TEST(ThreadTest, AThreadThatTheSystemRefusedCanBeStartedLater) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  {
    const StackTooLarge noRoom;
    ASSERT_NE(startFailure(*sleeper), "none");
  }

  sleeper->start();
  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadTest, AThreadThatTheSystemRefusedCanBeStopped) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  {
    const StackTooLarge noRoom;
    ASSERT_NE(startFailure(*sleeper), "none");
  }

  sleeper->stop();

  EXPECT_FALSE(sleeper->hasEnded());
}

// Says when and where it is deleted.
class Mortal : public Worker {
 public:
  Mortal(std::latch& isDeleted, std::thread::id& deleter, std::function<void(Worker&)> body)
      : Worker("mortal", std::move(body)), isDeleted_(isDeleted), deleter_(deleter) {}
  ~Mortal() override {
    deleter_ = std::this_thread::get_id();
    isDeleted_.count_down();
  }

 private:
  std::latch& isDeleted_;
  std::thread::id& deleter_;
};

TEST(ThreadTest, LivesUntilItsRunHasReturnedThoughNobodyElseHoldsIt) {
  std::latch isDeleted(1);
  std::latch mayEnd(1);
  std::thread::id deleter;
  std::thread::id runner;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [&](Worker&) {
    mayEnd.wait();
    runner = std::this_thread::get_id();
  }));
  thread->start();

  thread.reset();
  EXPECT_FALSE(isDeleted.try_wait());
  mayEnd.count_down();
  isDeleted.wait();

  EXPECT_EQ(deleter, runner);
  EXPECT_NE(deleter, std::this_thread::get_id());
}

TEST(ThreadTest, TheLastOtherReferenceMayBeGivenBackOnTheThreadItself) {
  std::latch isDeleted(1);
  std::latch isHandedOver(1);
  std::thread::id deleter;
  bool wasAliveAfterwards = false;
  RefPtr<Mortal> handedOver;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [&](Worker& self) {
    isHandedOver.wait();
    handedOver.reset();
    wasAliveAfterwards = self.isCurrent();
  }));
  thread->start();

  handedOver = std::move(thread);
  isHandedOver.count_down();
  isDeleted.wait();

  EXPECT_TRUE(wasAliveAfterwards);
  EXPECT_NE(deleter, std::this_thread::get_id());
}

TEST(ThreadTest, AnEndedThreadThatWasNeverStoppedIsDeletedWithItsLastReference) {
  for (int round = 0; round < 500; ++round) {
    std::latch isDeleted(1);
    std::latch hasRun(1);
    std::thread::id deleter;
    RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [&](Worker&) { hasRun.count_down(); }));
    thread->start();
    hasRun.wait();

    thread.reset();

    isDeleted.wait();
  }
}

TEST(ThreadTest, AStartWithoutEffectKeepsNoReference) {
  std::latch isDeleted(1);
  std::thread::id deleter;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [](Worker&) {}));
  thread->start();
  thread->start();
  thread->stop();

  thread.reset();

  EXPECT_TRUE(isDeleted.try_wait());
}

TEST(ThreadTest, ARefusedStartKeepsNoReference) {
  std::latch isDeleted(1);
  std::thread::id deleter;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [](Worker&) {}));
  thread->stop();
  ASSERT_NE(startFailure(*thread), "none");

  thread.reset();

  EXPECT_TRUE(isDeleted.try_wait());
}

// Notes the labels of the references that are taken and given back.
class Labelled : public Thread {
 public:
  explicit Labelled(std::vector<std::string>& calls) : Thread("labelled"), calls_(calls) {}
  void addRef(const char* label) override {
    note(std::string("add ") + label);
    Thread::addRef(label);
  }
  void dropRef(const char* label) override {
    note(std::string("drop ") + label);
    Thread::dropRef(label);
  }

 private:
  void note(const std::string& call) {
    const AutoMutex lock(mutex_);
    calls_.push_back(call);
  }

  Mutex mutex_{"Labelled"};
  std::vector<std::string>& calls_;
};

TEST(ThreadTest, TheRuntimesReferenceIsLabelled) {
  std::vector<std::string> calls;
  auto* const thread = new Labelled(calls);
  thread->addRef("test");

  thread->start();
  thread->stop();

  EXPECT_THAT(calls, ElementsAre("add test", "add Thread::run", "drop Thread::run"));
  thread->dropRef("test");
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

TEST(ThreadTest, ThousandsOfThreadsStartAndStop) {
  constexpr int kCycles = 5'000;
  int runs = 0;

  for (int i = 0; i < kCycles; ++i) {
    const RefPtr<Worker> worker = makeWorker([&](Worker&) { ++runs; });
    worker->start();
    worker->stop();
  }

  EXPECT_EQ(runs, kCycles);
}

TEST(ThreadTest, ThousandsOfThreadsEndAlone) {
  constexpr int kCycles = 2'000;

  for (int i = 0; i < kCycles; ++i) {
    std::latch isDeleted(1);
    std::thread::id deleter;
    RefPtr<Mortal>(new Mortal(isDeleted, deleter, [](Worker&) {}))->start();
    isDeleted.wait();
  }
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
