#include "bench/history.h"

#include <algorithm>
#include <string_view>

namespace bench {
namespace {

constexpr std::string_view kLost[] = {
    "No message received",
    "Connection reset by peer",
    "I/O error: Broken pipe",
    "Software caused connection abort",
};
constexpr std::string_view kCutShort = "Error processing response stream: I/O error";
constexpr std::string_view kTlsCut = "unexpected eof while reading";

// What a failure of a kind may be called.
bool isLoss(std::string_view text) {
  return std::find(std::begin(kLost), std::end(kLost), text) != std::end(kLost) ||
         (text.starts_with("SSL Exception: ") && text.ends_with(kTlsCut));
}

struct Rule {
  int status = 200;         // of an answer that may arrive; 0: none can
  bool isRetried = false;   // may end before the head of an answer has come
  bool breaksOff = false;   // may end behind it, which is final
  std::string_view text{};  // of the failure; empty: any of a lost connection
};

Rule ruleOf(Fault fault) {
  switch (fault) {
    case Fault::ServerError:
      return {.status = 503};
    case Fault::EarlyAnswer:
      return {.status = 413};
    case Fault::EarlyAnswerThenGo:
      return {.status = 413, .isRetried = true, .breaksOff = true};
    case Fault::CloseBeforeAnswer:
    case Fault::ResetBeforeAnswer:
    case Fault::ResetInUpload:
      return {.status = 0, .isRetried = true};
    case Fault::CutInHead:
      return {.status = 0,
              .isRetried = true,
              .text = "Malformed message: Connection closed inside the response head"};
    case Fault::Garbage:
      return {.status = 0, .isRetried = true, .text = "Malformed message: Invalid status line"};
    case Fault::CutInBody:
    case Fault::CutInChunk:
    case Fault::NoLastChunk:
    case Fault::BadLength:
    case Fault::BadChunkSize:
      return {.status = 0, .breaksOff = true, .text = kCutShort};
    case Fault::ResetInBody:  // a reset may overtake the head
      return {.status = 0, .isRetried = true, .breaksOff = true};
    case Fault::DamagedGzip:
      return {.status = 0,
              .breaksOff = true,
              .text = "Error processing response stream: Serious I/O error"};
    default:
      return {};
  }
}

}  // namespace

Explanation explain(std::span<const Fault> attempts, const Outcome& outcome) {
  if (attempts.empty()) return Explanation::Unexplained;
  bool isSecond = false;  // of the two attempts that each request to the server has
  bool isRedirected = false;
  for (const Fault earlier : attempts.first(attempts.size() - 1)) {
    if (earlier == Fault::Redirect) {
      isRedirected = true;
      isSecond = false;
    } else {
      if (isSecond || !ruleOf(earlier).isRetried) return Explanation::Unexplained;
      isSecond = true;
    }
  }
  const Fault last = attempts.back();
  const Rule rule = ruleOf(last);
  if (outcome.status != 0) {
    const bool arrives = last != Fault::Redirect && outcome.status == rule.status;
    return arrives ? Explanation::Explained : Explanation::Unexplained;
  }
  const bool isKnown = rule.text.empty() ? isLoss(outcome.text) : outcome.text == rule.text;
  if (!isKnown || !(rule.isRetried || rule.breaksOff)) return Explanation::Unexplained;
  if (rule.breaksOff || isSecond) return Explanation::Explained;
  // A redirect is followed on a new connection.
  return isRedirected ? Explanation::Unexplained : Explanation::ExplainedByClosedConnection;
}

bool closesKeptConnection(Fault fault) {
  return fault == Fault::CloseAfterAnswer || fault == Fault::ResetAfterAnswer;
}

}  // namespace bench
