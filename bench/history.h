// bench/history.h : whether what the host was told is what the server did.
//
// Role:      the rules that the manual gives for retries and failures (docs/failures.md), held
//            against the faults that a request met.
// Threads:   no state.
#pragma once

#include <span>
#include <string_view>

#include "bench/fault.h"

namespace bench {

/// What came back for one request.
struct Outcome {
  int status = 0;         // of the server's answer; 0: a failure response
  std::string_view text;  // of the failure
};

enum class Explanation {
  Explained,
  // The attempt that failed was the second one; the first never reached the server, which had
  // closed the connection after an earlier answer. Cannot happen more often than that.
  ExplainedByClosedConnection,
  Unexplained,
};

/// `attempts` are the faults that the request met, one for each time that the server saw it.
Explanation explain(std::span<const Fault> attempts, const Outcome& outcome);

/// Whether a connection that was to be kept is closed after this.
bool closesKeptConnection(Fault fault);

}  // namespace bench
