// bench/bounds_case.h : what is done to the transport to see what it costs in memory.
//
// Threads:   constant.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/scripted_server.h"

namespace bench {

/// How much is done.
struct BoundsScale {
  std::uint64_t answerBytes;    // of one large answer
  std::uint64_t itemBytes;      // of a request in the full queue
  std::uint64_t cookieAnswers;  // answers that set 1,000 cookies each
  std::uint64_t lineBytes;      // of a line that never ends
  static BoundsScale large();
  static BoundsScale small();
};

struct BoundsCase {
  std::string name;
  test_support::ScriptedServer::Script script;  // for the requests for kCasePath
  std::string statusWanted;                     // of the last answer
  std::string reasonWanted;                     // the beginning of the reason
  std::uint64_t peakBytesMax;                   // above the idle state
  std::uint64_t requests = 1;
  std::uint64_t chainhostLineBytes = 0;  // of an input line of the stand-alone host, instead
  bool fillsQueue = false;               // the requests are queued behind one that is held back
  std::uint64_t addressSpaceBytes = 0;   // more than what is in use, for a process that has no more
};

/// The target of the requests of a case. Any other is answered with "ok".
inline constexpr char kCasePath[] = "/case";
/// The target of the request that lets the answers for a full queue go.
inline constexpr char kReleasePath[] = "/release";

std::vector<BoundsCase> boundsCases(const BoundsScale& scale, bool withLimits);

}  // namespace bench
