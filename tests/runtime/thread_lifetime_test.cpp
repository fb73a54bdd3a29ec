#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/mutex.h"
#include "runtime/test_threads.h"
#include "runtime/thread.h"

namespace com::orvex {
namespace {

using testing::ElementsAre;

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

TEST(ThreadLifetimeTest, LivesUntilItsRunHasReturnedThoughNobodyElseHoldsIt) {
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

TEST(ThreadLifetimeTest, TheLastOtherReferenceMayBeGivenBackOnTheThreadItself) {
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

TEST(ThreadLifetimeTest, AnEndedThreadThatWasNeverStoppedIsDeletedWithItsLastReference) {
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

TEST(ThreadLifetimeTest, AStartWithoutEffectKeepsNoReference) {
  std::latch isDeleted(1);
  std::thread::id deleter;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [](Worker&) {}));
  thread->start();
  thread->start();
  thread->stop();

  thread.reset();

  EXPECT_TRUE(isDeleted.try_wait());
}

TEST(ThreadLifetimeTest, ARefusedStartKeepsNoReference) {
  std::latch isDeleted(1);
  std::thread::id deleter;
  RefPtr<Mortal> thread(new Mortal(isDeleted, deleter, [](Worker&) {}));
  thread->stop();
  ASSERT_NE(startFailure(*thread), "none");

  thread.reset();

  EXPECT_TRUE(isDeleted.try_wait());
}

// Notes the labels of the references that are taken and given back.
class LabelledThread : public Thread {
 public:
  explicit LabelledThread(std::vector<std::string>& calls) : Thread("labelled"), calls_(calls) {}
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

TEST(ThreadLifetimeTest, TheRuntimesReferenceIsLabelled) {
  std::vector<std::string> calls;
  auto* const thread = new LabelledThread(calls);
  thread->addRef("test");

  thread->start();
  thread->stop();

  EXPECT_THAT(calls, ElementsAre("add test", "add Thread::run", "drop Thread::run"));
  thread->dropRef("test");
}

TEST(ThreadLifetimeTest, ThousandsOfThreadsEndAlone) {
  constexpr int kCycles = 2'000;

  for (int i = 0; i < kCycles; ++i) {
    std::latch isDeleted(1);
    std::thread::id deleter;
    RefPtr<Mortal>(new Mortal(isDeleted, deleter, [](Worker&) {}))->start();
    isDeleted.wait();
  }
}

}  // namespace
}  // namespace com::orvex
