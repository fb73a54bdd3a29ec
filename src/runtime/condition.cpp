#include "runtime/condition.h"

#include <time.h>

#include <algorithm>
#include <cerrno>

#include "runtime/lock_order.h"

namespace com::orvex {
namespace {

timespec monotonicIn(std::int64_t ms) {
  ms = std::max<std::int64_t>(ms, 0);
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  // The longest time, in seconds, added to any running time of a machine stays in range.
  time.tv_sec += ms / 1000;
  time.tv_nsec += ms % 1000 * 1'000'000;
  if (time.tv_nsec >= 1'000'000'000) {
    time.tv_nsec -= 1'000'000'000;
    ++time.tv_sec;
  }
  return time;
}

}  // namespace

Condition::Condition(Mutex& mutex) : mutex_(mutex) {
  // None of these can fail on Linux: the monotonic clock is always there, and nothing is allocated.
  pthread_condattr_t attributes;
  pthread_condattr_init(&attributes);
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  pthread_cond_init(&native_, &attributes);
  pthread_condattr_destroy(&attributes);
}

Condition::~Condition() { pthread_cond_destroy(&native_); }

void Condition::wait() {
  lock_order::beforeWait(&mutex_, mutex_.nameId_);
  pthread_cond_wait(&native_, &mutex_.native_);
  lock_order::taken(&mutex_, mutex_.nameId_);
}

bool Condition::timedwaitRelative(std::int64_t ms) {
  const timespec deadline = monotonicIn(ms);
  lock_order::beforeWait(&mutex_, mutex_.nameId_);
  const int result = pthread_cond_timedwait(&native_, &mutex_.native_, &deadline);
  lock_order::taken(&mutex_, mutex_.nameId_);
  return result != ETIMEDOUT;
}

void Condition::broadcast() { pthread_cond_broadcast(&native_); }

}  // namespace com::orvex
