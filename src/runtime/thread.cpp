#include "runtime/thread.h"

#include <signal.h>

#include <system_error>
#include <utility>

#include "runtime/exception.h"

namespace com::orvex {
namespace {

constexpr const char* kRunLabel = "Thread::run";

void blockSigpipe() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

}  // namespace

Thread::Thread(std::string name) : name_(std::move(name)) {}

// Nobody else has a reference any more: no other thread looks at what is guarded elsewhere.
Thread::~Thread() {
  if (phase_ != Phase::Running) return;
  if (pthread_equal(native_, pthread_self()) != 0) {
    pthread_detach(native_);
  } else {
    pthread_join(native_, nullptr);
  }
}

void Thread::start() {
  if (!isReferenced()) refuseStart("no reference to it is held");
  addRef(kRunLabel);
  bool launched = false;
  try {
    launched = launch();
  } catch (...) {
    dropRef(kRunLabel);
    throw;
  }
  if (!launched) dropRef(kRunLabel);
}

// Makes the system's thread unless there is one; returns whether it did.
bool Thread::launch() {
  const AutoMutex lock(mutex_);
  if (stopped_) refuseStart("it has been stopped");
  if (phase_ != Phase::NotStarted) return false;
  const int error = pthread_create(&native_, nullptr, &entry, this);
  if (error != 0) refuseStart(std::generic_category().message(error));
  phase_ = Phase::Running;
  return true;
}

void* Thread::entry(void* self) noexcept {
  auto* const thread = static_cast<Thread*>(self);
  blockSigpipe();
  pthread_setname_np(pthread_self(), thread->name_.substr(0, kSystemNameBytes).c_str());
  thread->run();
  thread->dropRef(kRunLabel);
  return nullptr;
}

void Thread::stop() {
  stopRequested_.store(true, std::memory_order_release);
  {
    const AutoMutex lock(mutex_);
    stopped_ = true;
    if (phase_ == Phase::NotStarted || phase_ == Phase::Joined) return;
  }
  signal();

  AutoMutex lock(mutex_);
  if (isCurrentLocked()) return;
  if (phase_ == Phase::Running) {
    phase_ = Phase::Joining;
    const pthread_t native = native_;
    lock.unlock();
    pthread_join(native, nullptr);
    lock.lock();
    phase_ = Phase::Joined;
    joined_.broadcast();
  }
  while (phase_ != Phase::Joined) joined_.wait();
}

void Thread::signal() { stopRequested_.store(true, std::memory_order_release); }

int Thread::run() { return 0; }

bool Thread::isCurrent() const {
  const AutoMutex lock(mutex_);
  return isCurrentLocked();
}

bool Thread::isCurrentLocked() const {
  const bool lives = phase_ == Phase::Running || phase_ == Phase::Joining;
  return lives && pthread_equal(native_, pthread_self()) != 0;
}

void Thread::refuseStart(const std::string& reason) const {
  throw Exception("Thread \"" + name_ + "\" cannot be started: " + reason);
}

}  // namespace com::orvex
