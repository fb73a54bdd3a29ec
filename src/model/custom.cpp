#include "model/custom.h"

#include "kel/host_values.h"

namespace com::corvane::connectivity10_15_0 {

custom_t& custom_t::operator=(custom_t&& other) noexcept {
  kel_free_custom(std::exchange(block_, other.release()));
  return *this;
}

custom_t::~custom_t() { kel_free_custom(block_); }

custom_t custom_t::adopt(custom_block* block) noexcept {
  custom_t result;
  result.block_ = block;
  return result;
}

}  // namespace com::corvane::connectivity10_15_0
