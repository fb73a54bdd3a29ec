#include "bench/traffic.h"

#include <algorithm>
#include <cmath>

#include "bench/random.h"

namespace bench {
namespace {

constexpr std::size_t kOffsets = 256 * 1024;  // places in the block where a body may begin
constexpr std::size_t kSmallBytesMax = 4096;

}  // namespace

Traffic::Traffic(std::uint64_t seed, std::size_t bodyBytesMax)
    : seed_(seed), bodyBytesMax_(bodyBytesMax), block_(bodyBytesMax + kOffsets, '\0') {
  std::uint64_t word = mixed(seed);
  for (std::size_t i = 0; i < block_.size(); ++i) {
    if (i % 16 == 0) word = mixed(word);
    block_[i] = static_cast<char>('a' + (word >> (i % 16 * 4)) % 16);
  }
}

std::uint64_t Traffic::random(std::uint64_t id, std::uint64_t purpose) const {
  return mixed(seed_, id, purpose);
}

std::size_t Traffic::length(std::uint64_t random) const {
  const std::uint64_t kind = random % 256;
  if (kind < 16) return 0;
  if (kind == 16) return bodyBytesMax_;
  const std::size_t most = kind <= 32 ? bodyBytesMax_ : std::min(bodyBytesMax_, kSmallBytesMax);
  // Each power of two up to `most` is as likely as any other.
  const double bits = std::log2(static_cast<double>(most) + 1);
  return std::min(most, static_cast<std::size_t>(std::exp2(share(mixed(random)) * bits)));
}

std::string_view Traffic::body(std::uint64_t id, Purpose purpose) const {
  const std::size_t bytes = length(random(id, kLength * (purpose + 1)));
  return std::string_view(block_).substr(random(id, purpose) % kOffsets, bytes);
}

const char* Traffic::method(std::uint64_t id) const {
  const std::uint64_t kind = random(id, kMethod) % 4;
  if (kind == 0) return "PUT";
  if (requestBody(id).empty() && kind == 1) return "GET";
  if (requestBody(id).empty() && kind == 2) return "DELETE";
  return "POST";
}

std::optional<std::uint64_t> Traffic::key(std::uint64_t id) const {
  const std::uint64_t value = random(id, kKey);
  if (value % 4 == 0) return std::nullopt;
  return (value >> 8) % kKeys;
}

bool Traffic::flush(std::uint64_t id) const { return random(id, kFlush) % 1024 == 0; }

}  // namespace bench
