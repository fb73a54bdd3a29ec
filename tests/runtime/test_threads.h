// runtime/test_threads.h : threads for the tests of Thread.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "runtime/condition.h"
#include "runtime/exception.h"
#include "runtime/mutex.h"
#include "runtime/thread.h"

namespace com::orvex {

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

inline RefPtr<Worker> makeWorker(std::function<void(Worker&)> body) {
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

// The text that start refuses with, or "none".
inline std::string startFailure(Thread& thread) {
  try {
    thread.start();
  } catch (const Exception& failure) {
    return failure.what();
  }
  return "none";
}

}  // namespace com::orvex
