#include "runtime/mutex.h"

#include "runtime/lock_order.h"

namespace com::orvex {

Mutex::Mutex(const char* name) : name_(name), nameId_(lock_order::nameId(name_)) {}

Mutex::~Mutex() {
  lock_order::beforeDestroy(this, nameId_);
  pthread_mutex_destroy(&native_);
}

void Mutex::lock() {
  lock_order::beforeTake(this, nameId_);
  pthread_mutex_lock(&native_);
  lock_order::taken(this, nameId_);
}

void Mutex::unlock() {
  lock_order::beforeRelease(this, nameId_);
  pthread_mutex_unlock(&native_);
}

bool Mutex::isOrderChecked() { return lock_order::kChecked; }

}  // namespace com::orvex
