// bench/random.h : numbers that look random and are the same in every run with the same seed.
//
// Role:      what a request is like and what the server does to it follows from its id alone, so
//            that client and server need not tell each other.
// Threads:   no state.
#pragma once

#include <cstdint>

namespace bench {

/// All bits of the result depend on all bits of the value (the finalizer of SplitMix64).
constexpr std::uint64_t mixed(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

/// The same for several values; their order counts.
template <class... More>
constexpr std::uint64_t mixed(std::uint64_t first, std::uint64_t second, More... more) {
  return mixed(mixed(first) ^ second, more...);
}

/// A share of the whole range as a number from 0 up to, but without, 1.
constexpr double share(std::uint64_t value) { return static_cast<double>(value >> 11) * 0x1p-53; }

}  // namespace bench
