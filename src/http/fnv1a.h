// http/fnv1a.h : the 64-bit FNV-1a hash of a text's bytes.
//
// Threads: any thread; no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace com::corvane::connectivity::plugins {

/// A hash function for the standard library's containers.
struct Fnv1a {
  constexpr std::size_t operator()(std::string_view text) const noexcept {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (char c : text) {
      hash ^= static_cast<unsigned char>(c);
      hash *= 0x100000001b3;
    }
    return hash;
  }
};

}  // namespace com::corvane::connectivity::plugins
