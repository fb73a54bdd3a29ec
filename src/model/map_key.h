// model/map_key.h : a text key with its hash, made once and looked up many times.
//
// Threads: immutable; any thread may read.
#pragma once

#include <cstdint>

#include "model/data.h"

namespace com::corvane::connectivity10_15_0 {

class MapKey {
 public:
  explicit MapKey(const char* text) : key_(text), hash_(key_.hash()) {}

  const data_t& key() const { return key_; }
  std::uint64_t hash() const { return hash_; }
  const char* text() const { return key_.raw().payload.string; }

 private:
  const data_t key_;
  const std::uint64_t hash_;
};

}  // namespace com::corvane::connectivity10_15_0
