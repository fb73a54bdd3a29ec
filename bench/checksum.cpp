#include "bench/checksum.h"

#include <cstring>

#include "bench/random.h"

namespace bench {

std::uint64_t checksum(std::uint64_t id, std::string_view body) {
  constexpr std::uint64_t kOdd = 0x9FB21C651E98DF25;
  std::uint64_t sum = mixed(id, body.size());
  const auto add = [&sum](std::uint64_t word) {
    sum = (sum ^ word) * kOdd;
    sum ^= sum >> 32;
  };
  while (body.size() >= sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, body.data(), sizeof word);
    add(word);
    body.remove_prefix(sizeof word);
  }
  std::uint64_t rest = 0;
  if (!body.empty()) std::memcpy(&rest, body.data(), body.size());
  add(rest);
  return mixed(sum);
}

std::string checksumText(std::uint64_t id, std::string_view body) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::uint64_t sum = checksum(id, body);
  std::string text(16, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, sum >>= 4) {
    *digit = kDigits[sum & 15];
  }
  return text;
}

}  // namespace bench
