// faults/outcome.h : what a request comes to, told ahead.
//
// Threads: any; values only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace com::corvane::connectivity::plugins {

// The exceptions that are met often: kinds, names and messages.
inline constexpr char kNoMessage[] = "Poco::Net::NoMessageException";
inline constexpr char kIo[] = "Poco::IOException";
inline constexpr char kSsl[] = "SSL Exception";
inline constexpr char kNothingCame[] = "No message received";
inline constexpr char kReset[] = "Connection reset by peer";
inline constexpr char kCutHead[] = "Connection closed inside the response head";
inline constexpr char kCutTls[] = "error:0A000126:SSL routines::unexpected eof while reading";
inline constexpr char kBrokenBody[] = "Error processing response stream: I/O error";

/// What one request comes to.
struct Outcome {
  std::int64_t status = 200;
  std::string reason = "OK";
  std::string payload;
  std::string overall = "ONLINE";
  std::vector<std::string> lines;
  std::size_t attempts = 1;  // requests that the server saw
  bool kept = false;         // whether the next request uses the connection of the last attempt
};

/// An exchange that succeeds, as far as the host can tell.
Outcome answered(const std::string& payload);

/// A failure response after `attempts` attempts, with `lines` ahead of the WARN line. `name` and
/// `message` are those of the exception; the message may be empty.
Outcome failed(const std::string& name, const std::string& message = "",
               std::vector<std::string> lines = {}, std::size_t attempts = 1);

/// The same after one retry, which ended as the first attempt did.
Outcome failedTwice(const std::string& kind, const std::string& name,
                    const std::string& message = "");

/// The line at DEBUG that announces the one retry.
std::string retryLine(const std::string& kind, const std::string& name,
                      const std::string& message = "");

/// A failure for a body whose framing is broken; `why` is what the line at DEBUG says of it.
Outcome brokenBody(const std::string& why);

}  // namespace com::corvane::connectivity::plugins
