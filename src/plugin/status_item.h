// plugin/status_item.h : one named text that the host shows to operators.
//
// Role:      made by StatusReporter; the element sets it whenever its state changes.
// Threads:   any thread; its own mutex "StatusItem" guards integer and text, is the innermost of
//            all locks and is held during the host's call. key() is constant.
// Ownership: of whoever asked for it; not copyable. Leaves the host's display when destroyed, which
//            must happen before the element's status handle ends.
// Errors:    the constructor, and an allocation for a text of more than 25 bytes. What the host
//            makes of a call is not examined; an exception that comes out of one is dropped.
// Invariants: the host is called only when the text differs from the last one sent.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "runtime/mutex.h"
#include "runtime/thread_annotations.h"

namespace com::corvane::connectivity10_15_0 {

class StatusItem {
 public:
  /// Creates the item on the host. Throws std::runtime_error "Failed to create status item '<key>'
  /// (ensure the key is unique and that this plug-in has not been shutdown already)".
  StatusItem(void* statusHandle, std::string key, std::string initial, std::int64_t integer = 0);
  ~StatusItem();
  StatusItem(const StatusItem&) = delete;
  StatusItem& operator=(const StatusItem&) = delete;

  const std::string& key() const { return key_; }

  /// Gives the item a new text.
  void set(std::string_view text);

  /// As set, for callers that hold mutex().
  void setUnlocked(std::string_view text) OV_REQUIRES(mutex_);

  /// Keeps a number and gives the item its decimal text.
  void set(std::int64_t value) noexcept;
  void setInteger(std::int64_t value) noexcept { set(value); }

  /// As set, with the number that `read` returns. It is read while the item is locked: of several
  /// threads that show one figure, the last to read it is the last to show it. `read` neither
  /// locks nor throws.
  template <typename Read>
  void setTo(const Read& read) noexcept {
    if (shows(read())) return;
    orvex::AutoMutex lock(mutex_);
    integer_ = read();
    publishInteger();
  }

  /// Adds to the number and gives the item the decimal text of the sum.
  void add(std::int64_t delta) noexcept;

  orvex::Mutex& mutex() OV_RETURN_CAPABILITY(mutex_) { return mutex_; }

 private:
  // What no text is shown for, the least number apart, whose text is always made anew.
  static constexpr std::int64_t kNoNumber = std::numeric_limits<std::int64_t>::min();

  void publishInteger() noexcept OV_REQUIRES(mutex_);
  bool shows(std::int64_t value) const noexcept {
    return value != kNoNumber && shown_.load(std::memory_order_relaxed) == value;
  }

  std::int64_t integer_ OV_GUARDED_BY(mutex_);
  const std::string key_;
  std::string value_ OV_GUARDED_BY(mutex_);  // as last sent
  // The number whose text that is, so that a number that is shown already costs no lock; changed
  // under the mutex.
  std::atomic<std::int64_t> shown_ = kNoNumber;
  void* const statusHandle_;
  void* itemHandle_;
  orvex::Mutex mutex_{"StatusItem"};
};

}  // namespace com::corvane::connectivity10_15_0
