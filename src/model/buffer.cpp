#include "model/buffer.h"

#include <cstring>
#include <stdexcept>

#include "kel/host_values.h"

namespace com::corvane::connectivity10_15_0 {

buffer_t::buffer_t(std::uint64_t length) : block_(kel_allocate_buffer(length)) {}

buffer_t& buffer_t::operator=(buffer_t&& other) noexcept {
  kel_free_buffer(std::exchange(block_, other.release()));
  return *this;
}

buffer_t::~buffer_t() { kel_free_buffer(block_); }

buffer_t buffer_t::copyOf(const void* bytes, std::size_t length) {
  buffer_t result(length);
  if (length > 0) std::memcpy(result.data(), bytes, length);
  return result;
}

buffer_t buffer_t::adopt(buffer_block* block) noexcept {
  buffer_t result;
  result.block_ = block;
  return result;
}

unsigned char* buffer_t::data() noexcept {
  return block_ == nullptr ? nullptr : reinterpret_cast<unsigned char*>(block_ + 1);
}

const unsigned char* buffer_t::data() const noexcept {
  return block_ == nullptr ? nullptr : reinterpret_cast<const unsigned char*>(block_ + 1);
}

unsigned char& buffer_t::at(std::uint64_t index) {
  if (index >= size()) throw std::runtime_error("Out of bounds");
  return data()[index];
}

unsigned char buffer_t::at(std::uint64_t index) const {
  if (index >= size()) throw std::runtime_error("Out of bounds");
  return data()[index];
}

}  // namespace com::corvane::connectivity10_15_0
