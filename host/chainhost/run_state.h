// chainhost/run_state.h : what the threads of a run tell each other.
//
// Role:      the delivering thread counts messages in, the transport's workers count responses,
//            the signal thread tells of signals, any thread of failures; the main thread waits
//            here for the run's end.
// Threads:   any thread, internal lock ("ChainhostRun"), innermost; wait: the main thread.
// Invariants: 1) a message is counted before the transport can answer it; 2) the first failure
//            text is kept.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "chainhost/file_descriptor.h"
#include "chainhost/output_writer.h"
#include "runtime/condition.h"
#include "runtime/mutex.h"

namespace chainhost {

class RunState {
 public:
  enum class End {
    AllAnswered,  // the reading has ended and every message has its response
    Failed,       // going on makes no sense: failure() says why
    Abandoned,    // a second signal
    Unanswered    // no response came for the answer time-out while some were due
  };

  // `tickMs`: how often the wait looks at what has come; `noticeMs`: see wait.
  explicit RunState(std::int64_t tickMs = 1000, std::int64_t noticeMs = 30'000)
      : tickMs_(tickMs), noticeMs_(noticeMs) {}

  // ---- The delivering thread.
  void countMessages(std::uint64_t count) { messages_.fetch_add(count); }
  // Takes back what the transport did not take.
  void takeBackMessages(std::uint64_t count) { messages_.fetch_sub(count); }
  // A line was answered with an error line.
  void countRefusedLine() { refusedLines_.fetch_add(1); }
  // No further message comes. A text: the reading failed; what was sent is still waited for.
  void endReading(const std::string& failure = {});

  // ---- The transport's workers.
  void countResponses(std::uint64_t count);

  // ---- Any thread.
  // Ends the run; responses that are due are not waited for.
  void fail(const std::string& failure);
  // The first signal ends the reading, the second one the wait.
  void signalReceived(int number);

  // Readable from the moment that reading is to stop.
  int stopReadingFd() const noexcept { return stopReading_.fd(); }
  bool isReadingStopped() const noexcept { return signals_.load() > 0 || isAbandoned(); }
  // True from the moment that responses are not waited for any more.
  bool isAbandoned() const noexcept { return signals_.load() > 1 || failed_.load(); }

  // ---- The main thread.
  // Waits for the run's end. While messages are unanswered, writes a notice to standard error
  // every 30 seconds without a response, and gives up after `answerTimeoutMs` without one; 0:
  // never. Time during which the output is behind does not count.
  End wait(const OutputWriter& output, std::int64_t answerTimeoutMs);

  std::uint64_t messages() const noexcept { return messages_.load(); }
  std::uint64_t refusedLines() const noexcept { return refusedLines_.load(); }
  std::uint64_t unanswered() const noexcept;
  // Responses beyond the number of messages.
  std::uint64_t surplus() const noexcept;
  std::string failure() const;
  // The number of the last signal, 0 without one.
  int lastSignal() const noexcept { return lastSignal_.load(); }
  int signalCount() const noexcept { return signals_.load(); }

 private:
  bool isAllAnswered() const noexcept {
    return readingEnded_.load() && responses_.load() >= messages_.load();
  }

  const std::int64_t tickMs_;
  const std::int64_t noticeMs_;
  std::atomic<std::uint64_t> messages_{0};
  std::atomic<std::uint64_t> responses_{0};
  std::atomic<std::uint64_t> refusedLines_{0};
  std::atomic<bool> readingEnded_{false};
  std::atomic<bool> failed_{false};
  std::atomic<int> signals_{0};
  std::atomic<int> lastSignal_{0};
  Event stopReading_;

  mutable com::orvex::Mutex mutex_{"ChainhostRun"};
  com::orvex::Condition condition_{mutex_};
  std::string failure_ OV_GUARDED_BY(mutex_);
};

}  // namespace chainhost
