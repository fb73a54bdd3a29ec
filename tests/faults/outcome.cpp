#include "faults/outcome.h"

#include <utility>

namespace com::corvane::connectivity::plugins {

namespace {

std::string warning(const std::string& name, const std::string& message) {
  const std::string text = "WARN Caught exception processing a request: " + name;
  return message.empty() ? text : text + " (" + message + ")";
}

}  // namespace

Outcome answered(const std::string& payload) {
  Outcome outcome;
  outcome.payload = payload;
  return outcome;
}

Outcome failed(const std::string& name, const std::string& message, std::vector<std::string> lines,
               std::size_t attempts) {
  const std::string reason = message.empty() ? name : name + ": " + message;
  lines.push_back(warning(name, message));
  return {400, reason, reason, "FAILED", std::move(lines), attempts, false};
}

Outcome failedTwice(const std::string& kind, const std::string& name, const std::string& message) {
  return failed(name, message, {retryLine(kind, name, message)}, 2);
}

std::string retryLine(const std::string& kind, const std::string& name,
                      const std::string& message) {
  return "DEBUG Caught a " + kind + " processing a request, will retry once: " + name + " (" +
         message + ")";
}

Outcome brokenBody(const std::string& why) {
  return failed(kBrokenBody, "", {"DEBUG Invalid response body: " + why});
}

}  // namespace com::corvane::connectivity::plugins
