#include "chainhost/run_state.h"

#include <cstring>
#include <string>

#include "chainhost/report.h"
#include "runtime/platform.h"

namespace chainhost {

namespace {

// How long responses have been due without one coming, looked at once a tick.
class Silence {
 public:
  // Returns the silence in milliseconds. `moving`: there is nothing to wait for just now.
  std::int64_t observe(std::uint64_t responses, bool moving) {
    const std::int64_t nowMs = com::orvex::Platform::monotonicNanos() / 1'000'000;
    if (responses != responses_ || moving || wasMoving_) {
      sinceMs_ = nowMs;
      notices_ = 0;
    }
    responses_ = responses;
    wasMoving_ = moving;
    return nowMs - sinceMs_;
  }

  // True once for each full notice interval of one silence.
  bool isNoticeDue(std::int64_t silentMs, std::int64_t noticeMs) {
    if (silentMs / noticeMs <= notices_) {
      return false;
    }
    notices_ = silentMs / noticeMs;
    return true;
  }

 private:
  std::uint64_t responses_ = 0;
  bool wasMoving_ = true;
  std::int64_t sinceMs_ = 0;
  std::int64_t notices_ = 0;
};

}  // namespace

void RunState::endReading(const std::string& failure) {
  com::orvex::AutoMutex lock(mutex_);
  if (failure_.empty()) {
    failure_ = failure;
  }
  readingEnded_.store(true);
  condition_.broadcast();
}

void RunState::countResponses(std::uint64_t count) {
  responses_.fetch_add(count);
  if (isAllAnswered()) {
    com::orvex::AutoMutex lock(mutex_);
    condition_.broadcast();
  }
}

void RunState::fail(const std::string& failure) {
  failed_.store(true);
  stopReading_.set();
  com::orvex::AutoMutex lock(mutex_);
  if (failure_.empty()) {
    failure_ = failure;
  }
  condition_.broadcast();
}

void RunState::signalReceived(int number) {
  lastSignal_.store(number);
  const int count = signals_.fetch_add(1) + 1;
  stopReading_.set();
  if (count == 1) {
    report("SIG" + std::string(::sigabbrev_np(number)) + ": reading ended, responses due: " +
           std::to_string(unanswered()) + "; a second signal abandons them");
  }
  com::orvex::AutoMutex lock(mutex_);
  condition_.broadcast();
}

RunState::End RunState::wait(const OutputWriter& output, std::int64_t answerTimeoutMs) {
  Silence silence;
  com::orvex::AutoMutex lock(mutex_);
  for (;;) {
    if (signals_.load() > 1) {
      return End::Abandoned;
    }
    if (failed_.load()) {
      return End::Failed;
    }
    if (isAllAnswered()) {
      return End::AllAnswered;
    }
    condition_.timedwaitRelative(tickMs_);
    const bool moving = unanswered() == 0 || output.isBehind();
    const std::int64_t silentMs = silence.observe(responses_.load(), moving);
    if (answerTimeoutMs > 0 && silentMs >= answerTimeoutMs) {
      return End::Unanswered;
    }
    if (silence.isNoticeDue(silentMs, noticeMs_)) {
      report("responses due: " + std::to_string(unanswered()) +
             ", seconds without one: " + std::to_string(silentMs / 1000));
    }
  }
}

std::uint64_t RunState::unanswered() const noexcept {
  const std::uint64_t responses = responses_.load();
  const std::uint64_t messages = messages_.load();
  return messages > responses ? messages - responses : 0;
}

std::uint64_t RunState::surplus() const noexcept {
  const std::uint64_t responses = responses_.load();
  const std::uint64_t messages = messages_.load();
  return responses > messages ? responses - messages : 0;
}

std::string RunState::failure() const {
  com::orvex::AutoMutex lock(mutex_);
  return failure_;
}

}  // namespace chainhost
