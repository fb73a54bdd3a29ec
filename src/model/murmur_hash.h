// model/murmur_hash.h : MurmurHash64A, the hash of values that are no strings.
//
// Threads: any thread; no state.
// Source:  MurmurHash2, 64-bit version for 64-bit platforms, by Austin Appleby (public domain).
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace com::corvane::connectivity10_15_0 {

/// The hash of `length` bytes. REQUIRES: a little-endian machine, or other hashes result.
inline std::uint64_t murmurHash64A(const void* bytes, std::size_t length, std::uint64_t seed) {
  static_assert(std::endian::native == std::endian::little);
  constexpr std::uint64_t kMultiplier = 0xC6A4A7935BD1E995;
  constexpr int kShift = 47;
  const auto* data = static_cast<const unsigned char*>(bytes);
  std::uint64_t hash = seed ^ (length * kMultiplier);
  std::size_t left = length;
  for (; left >= 8; left -= 8, data += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, data, 8);
    word *= kMultiplier;
    word ^= word >> kShift;
    word *= kMultiplier;
    hash ^= word;
    hash *= kMultiplier;
  }
  if (left > 0) {
    std::uint64_t word = 0;
    std::memcpy(&word, data, left);
    hash ^= word;
    hash *= kMultiplier;
  }
  hash ^= hash >> kShift;
  hash *= kMultiplier;
  hash ^= hash >> kShift;
  return hash;
}

}  // namespace com::corvane::connectivity10_15_0
