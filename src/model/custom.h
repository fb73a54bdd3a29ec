// model/custom.h : a custom object of the host's, which the plugin only gives back.
//
// Threads:   one thread at a time.
// Ownership: owns its block, freed through the host.
#pragma once

#include <type_traits>
#include <utility>

#include "kel/types.h"

namespace com::corvane::connectivity10_15_0 {

class custom_t {
 public:
  custom_t() noexcept = default;
  custom_t(custom_t&& other) noexcept : block_(other.release()) {}
  custom_t& operator=(custom_t&& other) noexcept;
  ~custom_t();

  static custom_t adopt(custom_block* block) noexcept;
  custom_block* release() noexcept { return std::exchange(block_, nullptr); }
  custom_block* raw() const noexcept { return block_; }

 private:
  custom_block* block_ = nullptr;
};

static_assert(sizeof(custom_t) == 8 && std::is_standard_layout_v<custom_t>);

}  // namespace com::corvane::connectivity10_15_0
