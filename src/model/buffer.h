// model/buffer.h : bytes of a known number, in a block of the host's.
//
// Threads:   one thread at a time.
// Ownership: owns its block; a null block is an empty buffer.
// Errors:    std::runtime_error "Out of bounds" for an index not below the length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kel/types.h"

namespace com::corvane::connectivity10_15_0 {

class buffer_t {
 public:
  buffer_t() noexcept = default;
  /// `length` zero bytes.
  explicit buffer_t(std::uint64_t length);
  buffer_t(buffer_t&& other) noexcept : block_(other.release()) {}
  buffer_t& operator=(buffer_t&& other) noexcept;
  ~buffer_t();

  static buffer_t copyOf(const void* bytes, std::size_t length);
  static buffer_t adopt(buffer_block* block) noexcept;
  buffer_block* release() noexcept { return std::exchange(block_, nullptr); }
  buffer_block* raw() const noexcept { return block_; }

  std::uint64_t size() const noexcept { return block_ == nullptr ? 0 : block_->length; }
  bool empty() const noexcept { return size() == 0; }

  unsigned char& operator[](std::uint64_t index) { return at(index); }
  unsigned char operator[](std::uint64_t index) const { return at(index); }
  unsigned char& at(std::uint64_t index);
  unsigned char at(std::uint64_t index) const;

  /// The first byte; null for a null block.
  unsigned char* data() noexcept;
  const unsigned char* data() const noexcept;

  std::string_view view() const noexcept {
    return {reinterpret_cast<const char*>(data()), static_cast<std::size_t>(size())};
  }

 private:
  buffer_block* block_ = nullptr;
};

static_assert(sizeof(buffer_t) == 8 && std::is_standard_layout_v<buffer_t>);

}  // namespace com::corvane::connectivity10_15_0
