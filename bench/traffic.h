// bench/traffic.h : what the request with an id looks like, and what its answer carries.
//
// Role:      a function of seed and id, so that client, server and judge agree without talking.
// Threads:   immutable; any thread may read.
// Ownership: bodies are pieces of one block that lives as long as this does.
// Limits:    one body of 16 is empty and one of 256 has the full length; one of 16 has any length
//            up to the full one, the others up to 4 KiB, small ones being the most frequent: each
//            power of two has the same share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

class Traffic {
 public:
  /// Concurrency keys that one delivering thread uses.
  static constexpr std::uint64_t kKeys = 64;

  Traffic(std::uint64_t seed, std::size_t bodyBytesMax);

  std::string_view requestBody(std::uint64_t id) const { return body(id, kRequestBody); }
  std::string_view responseBody(std::uint64_t id) const { return body(id, kResponseBody); }

  /// "POST" or "PUT"; without a body also "GET" or "DELETE".
  const char* method(std::uint64_t id) const;

  /// Below kKeys; none for one request of four.
  std::optional<std::uint64_t> key(std::uint64_t id) const;

  /// Whether everything before this request is to end first: one request of 1,024.
  bool flush(std::uint64_t id) const;

 private:
  enum Purpose : std::uint64_t { kRequestBody, kResponseBody, kMethod, kKey, kFlush, kLength };

  std::string_view body(std::uint64_t id, Purpose purpose) const;
  std::size_t length(std::uint64_t random) const;
  std::uint64_t random(std::uint64_t id, std::uint64_t purpose) const;

  const std::uint64_t seed_;
  const std::size_t bodyBytesMax_;
  std::string block_;
};

}  // namespace bench
