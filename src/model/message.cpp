#include "model/message.h"

#include "model/text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

constexpr std::size_t kShownBytesMax = 200;
constexpr char kCut[] = " ...";

std::string escaped(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    if (c == '\n') {
      result += "\\n";
    } else if (c == '\r') {
      result += "\\r";
    } else {
      result += c;
    }
  }
  return result;
}

}  // namespace

std::string toText(const Message& message, bool shorten) {
  std::string payload = hostText(message.payload);
  if (shorten && payload.size() > kShownBytesMax) {
    payload.resize(kShownBytesMax - (sizeof(kCut) - 1));
    payload += kCut;
  }
  return "Message<metadata=" + hostText(message.metadata) + ", payload=" + escaped(payload) + ">";
}

}  // namespace com::corvane::connectivity10_15_0
