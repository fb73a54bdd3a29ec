#include "transport/sentinel.h"

namespace com::corvane::connectivity::plugins {

void Sentinel::reach(std::size_t consumer) {
  orvex::AutoMutex lock(mutex_);
  if (reached_[consumer]) return;
  reached_[consumer] = true;
  if (--remaining_ == 0) condition_.broadcast();
}

bool Sentinel::waitFor(std::int64_t sliceMs) {
  orvex::AutoMutex lock(mutex_);
  // Once woken it looks at the count again: a wake-up without cause counts as a time-out.
  if (remaining_ != 0) condition_.timedwaitRelative(sliceMs);
  return remaining_ == 0;
}

}  // namespace com::corvane::connectivity::plugins
