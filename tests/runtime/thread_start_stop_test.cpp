#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "runtime/test_threads.h"
#include "runtime/thread.h"

namespace com::orvex {
namespace {

TEST(ThreadStartStopTest, StopAsksAndWaitsForTheEnd) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();

  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadStartStopTest, SignalAsksForTheEnd) {
  const RefPtr<Thread> thread(new Thread("asked"));
  EXPECT_FALSE(thread->stopRequested());

  thread->signal();

  EXPECT_TRUE(thread->stopRequested());
}

TEST(ThreadStartStopTest, AThreadAskedToEndBeforeItsStartStillRunsAndKnows) {
  bool wasAsked = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) { wasAsked = self.stopRequested(); });

  worker->signal();
  worker->start();
  worker->stop();

  EXPECT_TRUE(wasAsked);
}

TEST(ThreadStartStopTest, StopOfAThreadNeverStartedReturns) {
  const RefPtr<Sleeper> sleeper(new Sleeper);

  sleeper->stop();

  EXPECT_FALSE(sleeper->hasEnded());
}

TEST(ThreadStartStopTest, StopOfAStoppedThreadReturns) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();
  sleeper->stop();

  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadStartStopTest, StopOfAThreadWhoseRunHasEndedReturns) {
  std::latch hasEnded(1);
  const RefPtr<Worker> worker = makeWorker([&](Worker&) { hasEnded.count_down(); });
  worker->start();
  hasEnded.wait();

  worker->stop();

  EXPECT_FALSE(worker->isCurrent());
}

TEST(ThreadStartStopTest, StoppedFromTwoThreadsAtOnceBothSeeItsEnd) {
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

TEST(ThreadStartStopTest, StopOnItselfAsksAndReturns) {
  bool wasAsked = false;
  const RefPtr<Worker> worker = makeWorker([&](Worker& self) {
    self.stop();
    wasAsked = self.stopRequested();
  });

  worker->start();
  worker->stop();

  EXPECT_TRUE(wasAsked);
}

TEST(ThreadStartStopTest, StopAfterStopOnItselfStillWaitsForTheEnd) {
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

TEST(ThreadStartStopTest, StopOnItselfReturnsWhileAnotherThreadWaitsForItsEnd) {
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

TEST(ThreadStartStopTest, StopCallsSignalOfTheDerivedClassOnceItIsAsked) {
  const RefPtr<Signalled> thread(new Signalled);
  thread->start();

  thread->stop();

  EXPECT_EQ(thread->signals(), 1);
  EXPECT_TRUE(thread->wasRequestedBefore());
}

TEST(ThreadStartStopTest, StopCallsNoSignalWhereNothingRuns) {
  const RefPtr<Signalled> neverStarted(new Signalled);
  const RefPtr<Signalled> stopped(new Signalled);
  stopped->start();
  stopped->stop();

  neverStarted->stop();
  stopped->stop();

  EXPECT_EQ(neverStarted->signals(), 0);
  EXPECT_EQ(stopped->signals(), 1);
}

TEST(ThreadStartStopTest, StartedTwiceItRunsOnce) {
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

TEST(ThreadStartStopTest, StartedAgainAfterItsEndItDoesNotRunAgain) {
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

TEST(ThreadStartStopTest, StartedFromTwoThreadsAtOnceItRunsOnce) {
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

TEST(ThreadStartStopTest, StartAfterStopIsRefused) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->start();
  sleeper->stop();

  EXPECT_EQ(startFailure(*sleeper), "Thread \"sleeper\" cannot be started: it has been stopped");
}

TEST(ThreadStartStopTest, StartAfterStopOfAThreadNeverStartedIsRefused) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  sleeper->stop();

  EXPECT_EQ(startFailure(*sleeper), "Thread \"sleeper\" cannot be started: it has been stopped");
}

TEST(ThreadStartStopTest, StartedAndStoppedAtOnceItNeverRunsAfterStop) {
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

TEST(ThreadStartStopTest, StartWithoutAReferenceIsRefused) {
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

TEST(ThreadStartStopTest, AThreadThatTheSystemRefusesIsReportedWithItsReason) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  const StackTooLarge noRoom;

  EXPECT_EQ(startFailure(*sleeper),
            "Thread \"sleeper\" cannot be started: Resource temporarily unavailable");
}

TEST(ThreadStartStopTest, AThreadThatTheSystemRefusedCanBeStartedLater) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  {
    const StackTooLarge noRoom;
    ASSERT_NE(startFailure(*sleeper), "none");
  }

  sleeper->start();
  sleeper->stop();

  EXPECT_TRUE(sleeper->hasEnded());
}

TEST(ThreadStartStopTest, AThreadThatTheSystemRefusedCanBeStopped) {
  const RefPtr<Sleeper> sleeper(new Sleeper);
  {
    const StackTooLarge noRoom;
    ASSERT_NE(startFailure(*sleeper), "none");
  }

  sleeper->stop();

  EXPECT_FALSE(sleeper->hasEnded());
}

TEST(ThreadStartStopTest, ThousandsOfThreadsStartAndStop) {
  constexpr int kCycles = 5'000;
  int runs = 0;

  for (int i = 0; i < kCycles; ++i) {
    const RefPtr<Worker> worker = makeWorker([&](Worker&) { ++runs; });
    worker->start();
    worker->stop();
  }

  EXPECT_EQ(runs, kCycles);
}

}  // namespace
}  // namespace com::orvex
