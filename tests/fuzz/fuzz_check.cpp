#include "fuzz/fuzz_check.h"

#include <unistd.h>

#include <cstdlib>

namespace fuzz {

namespace {

// The code under test writes some lines to standard error, which a long run closes.
const int standardError = ::dup(STDERR_FILENO);

}  // namespace

void fail(const std::string& what) {
  const std::string line = "fuzz: " + what + "\n";
  static_cast<void>(!::write(standardError, line.data(), line.size()));
  std::abort();
}

std::string shown(std::string_view text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F && c != '\\') {
      result += c;
    } else {
      result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return result + "\"";
}

}  // namespace fuzz
