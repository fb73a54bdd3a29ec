// bench/judge.h : judges each answer that the transport gives, and counts.
//
// Role:      the host's element towards which the transports send. Each request is to be answered
//            once, with its own id, the server's own body, whole, or with a failure that the
//            server's faults explain.
// Threads:   any thread.
// Errors:    none: what is wrong is counted, and the first cases are described.
#pragma once

#include <cstdint>
#include <mutex>
#include <semaphore>
#include <string>
#include <string_view>
#include <vector>

#include "bench/fault.h"
#include "bench/history.h"
#include "bench/journal.h"
#include "bench/traffic.h"
#include "kel/types.h"
#include "model/message.h"

namespace bench {

struct Tally {
  std::uint64_t answered = 0;   // all of them, failures included
  std::uint64_t delivered = 0;  // 200
  std::uint64_t refused = 0;    // 413 and 503
  std::uint64_t failed = 0;
  std::uint64_t seenAgain = 0;     // by the server: retries and redirects that its faults explain
  std::uint64_t closedUnseen = 0;  // failures that need a connection closed before
  std::uint64_t seen = 0;          // times that the server saw what has been answered
  // What must not be.
  std::uint64_t lost = 0;         // never answered
  std::uint64_t doubled = 0;      // answered again, or never asked
  std::uint64_t crossed = 0;      // another request's answer
  std::uint64_t damaged = 0;      // a body that is not what the server sent
  std::uint64_t unexplained = 0;  // by what the server did
  std::uint64_t logged = 0;       // lines at ERROR or worse

  bool isClean() const { return lost + doubled + crossed + damaged + unexplained + logged == 0; }
};

class Judge {
 public:
  static constexpr std::size_t kCasesMax = 20;

  /// At most `underWayMax` requests are under way at a time.
  Judge(const Traffic& traffic, const FaultSchedule& faults, Journal& journal,
        std::ptrdiff_t underWayMax)
      : traffic_(traffic),
        faults_(faults),
        journal_(journal),
        underWayMax_(underWayMax),
        room_(underWayMax) {}

  /// Before a request is delivered; waits for room.
  void expect(std::uint64_t id);

  /// Waits until no request is under way; nobody may deliver meanwhile. False: that was not so
  /// within the time.
  bool awaitAnswers(double seconds);

  /// The batch function; `self` is the judge.
  static void receive(void* self, kel_message* first, kel_message* end);

  /// The log's sink; `self` is the judge.
  static void logged(void* self, const char* category, std::int32_t level, const char* text);

  /// At the end, when nothing is under way any more: what is still open is lost.
  void close();

  Tally tally() const;

  /// What the first of the wrong answers were.
  std::vector<std::string> cases() const;

 private:
  using Message = com::corvane::connectivity10_15_0::Message;

  void judge(const Message& message);
  void judgeAnswer(const Message& message, std::uint64_t id, unsigned arrivals);
  void reportCase(std::uint64_t Tally::*kind, const std::string& text);

  const Traffic& traffic_;
  const FaultSchedule& faults_;
  Journal& journal_;
  const std::ptrdiff_t underWayMax_;
  std::counting_semaphore<> room_;
  mutable std::mutex mutex_;
  Tally tally_;                     // guarded by mutex_
  std::vector<std::string> cases_;  // guarded by mutex_
};

}  // namespace bench
