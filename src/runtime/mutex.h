// runtime/mutex.h : the named mutex, and the scope that holds one.
//
// Role:    mutual exclusion. In a debug build of the library every mutex also watches the order in
//          which mutexes are taken, over the whole process and by name.
// Threads: any thread. Not recursive.
// Errors:  a broken rule ends a debug build's process (abort) with one line on standard error:
//          - Mutex "B" is taken while "A" is held, against the earlier order "B", "A"
//            (the order may lead over further names: "B", "C", "A");
//          - Mutex "A" is taken twice by one thread
//          - Mutex "A" is released by a thread that does not hold it
//          - Mutex "A" is waited on by a thread that does not hold it
//          - Mutex "A" is destroyed while it is held
//          - Mutex "A" is taken by a thread that holds 32 others
//          A release build checks nothing, and such a program hangs or fails by chance.
// Limits:  two mutexes of one name are not compared with each other. Every name ever used is
//          remembered: give many mutexes of one kind one name.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <string>

#include "runtime/export.h"
#include "runtime/thread_annotations.h"

namespace com::orvex {

class OV_CAPABILITY("mutex") OV_EXPORT Mutex {
 public:
  /// The name is copied.
  explicit Mutex(const char* name);
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  /// REQUIRES: held by nobody.
  ~Mutex();

  /// Takes it; blocks while another thread holds it. REQUIRES: not held by this thread.
  void lock() OV_ACQUIRE();

  /// Gives it back. REQUIRES: held by this thread. The mutex may be destroyed as soon as another
  /// thread has taken and given it back.
  void unlock() OV_RELEASE();

  const char* name() const { return name_.c_str(); }

  /// Whether this build of the library watches the order in which mutexes are taken.
  static bool isOrderChecked();

 private:
  friend class Condition;

  pthread_mutex_t native_ = PTHREAD_MUTEX_INITIALIZER;
  const std::string name_;
  // The name's number for the order check; the same members stand here in every kind of build.
  const std::uint32_t nameId_;
};

/// Holds a mutex from its construction to its destruction, with early release.
class OV_SCOPED_CAPABILITY AutoMutex {
 public:
  explicit AutoMutex(Mutex& mutex) OV_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  AutoMutex(const AutoMutex&) = delete;
  AutoMutex& operator=(const AutoMutex&) = delete;
  ~AutoMutex() OV_RELEASE() {
    if (held_) mutex_.unlock();
  }

  /// Gives the mutex back before the scope ends. REQUIRES: this scope holds it.
  void unlock() OV_RELEASE() {
    held_ = false;
    mutex_.unlock();
  }

  /// Takes the mutex again after unlock. REQUIRES: this scope does not hold it.
  void lock() OV_ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }

 private:
  Mutex& mutex_;
  bool held_ = true;
};

}  // namespace com::orvex
