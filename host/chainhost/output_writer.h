// chainhost/output_writer.h : the one writer of the output.
//
// Role:      takes whole lines from any thread and writes them in that order from a thread of
//            its own. While a write is under way further lines gather and go out together with
//            the next one; so do those of the threads that can run on the writer's processor when
//            it wakes up. So no line waits for a later one, and a busy output has few writes.
// Threads:   any thread, internal lock ("ChainhostOutput"); finish from the owner alone.
// Ownership: borrows the descriptor.
// Errors:    the first write that fails ends the writing: `onFailure` is called with the system's
//            text on the writer's thread, and from then on lines are dropped.
// Limits:    8 MiB gathered; whoever has more to say waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "chainhost/file_descriptor.h"
#include "runtime/condition.h"
#include "runtime/mutex.h"
#include "runtime/ref_counted_object.h"
#include "runtime/thread.h"

namespace chainhost {

class OutputWriter {
 public:
  using FailureHandler = std::function<void(const std::string& reason)>;

  static constexpr std::size_t kPendingBytesMax = 8 << 20;
  static constexpr std::int64_t kGraceMs = 1000;

  OutputWriter(int fd, FailureHandler onFailure, std::size_t pendingBytesMax = kPendingBytesMax);
  // Without an earlier finish: drops what is unwritten.
  ~OutputWriter();

  // Takes whole lines. Waits while the output is behind by pendingBytesMax.
  void append(std::string_view lines);

  // From now on nobody waits for a slow reader of the output: append takes lines without limit,
  // and finish drops what is not written within kGraceMs.
  void hurry();

  // Returns when all lines taken have been written or dropped; nothing may be appended after.
  void finish();

  // True while lines are waiting to be written.
  bool isBehind() const noexcept { return behind_.load(); }

 private:
  class WriterThread;

  int run();
  void abandon();
  bool writeAll(std::string_view bytes);
  bool waitWritable() const;

  const int fd_;
  const bool neverBlocks_;  // a regular file: no reader to wait for
  const FailureHandler onFailure_;
  const std::size_t pendingBytesMax_;
  Event abandoned_;
  std::atomic<bool> behind_{false};

  com::orvex::Mutex mutex_{"ChainhostOutput"};
  com::orvex::Condition condition_{mutex_};
  std::string pending_ OV_GUARDED_BY(mutex_);
  bool writerWaits_ OV_GUARDED_BY(mutex_) = false;
  bool finishing_ OV_GUARDED_BY(mutex_) = false;
  bool hurried_ OV_GUARDED_BY(mutex_) = false;
  bool dropping_ OV_GUARDED_BY(mutex_) = false;
  bool ended_ OV_GUARDED_BY(mutex_) = false;

  com::orvex::RefPtr<WriterThread> thread_;
};

}  // namespace chainhost
