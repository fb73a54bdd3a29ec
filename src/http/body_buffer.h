// http/body_buffer.h : the bytes of one response body, in memory that is used again for the next.
//
// Threads:   one worker only.
// Errors:    std::bad_alloc when memory runs out; the content so far stays.
// Limits:    between two bodies kKeptBytesMax at the most; a larger body takes its own size, and
//            address space for half as much again.
// Invariants: bytes are never cleared: only the first size() of them mean anything.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace com::corvane::connectivity::plugins {

class BodyBuffer {
 public:
  /// What a worker keeps between requests at the most; a larger body's memory is given back.
  static constexpr std::size_t kKeptBytesMax = 4 * 1024 * 1024;

  std::string_view view() const { return {bytes_.get(), size_}; }
  std::size_t size() const { return size_; }

  void clear() {
    size_ = 0;
    if (capacity_ > kKeptBytesMax) release();
  }

  /// Moves the content to `target`, where there is room for it. Of a large body the memory is given
  /// back piece by piece, from its end: the two copies of it do not exist at the same time.
  void moveTo(unsigned char* target) {
    while (capacity_ > kKeptBytesMax && size_ > kMovedBytes) {
      size_ -= kMovedBytes;
      std::memcpy(target + size_, bytes_.get() + size_, kMovedBytes);
      resize(size_);
    }
    if (size_ > 0) std::memcpy(target, bytes_.get(), size_);
    clear();
  }

  /// Room for `length` more bytes behind the content; valid until the next call of anything.
  char* room(std::size_t length) {
    if (capacity_ - size_ < length) grow(length);
    return bytes_.get() + size_;
  }

  /// Makes the first `length` bytes of the room part of the content.
  void add(std::size_t length) { size_ += length; }

  std::size_t capacityForTest() const { return capacity_; }

 private:
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };

  static constexpr std::size_t kMovedBytes = 16 * 1024 * 1024;

  void grow(std::size_t length) {
    const std::size_t needed = size_ + length;
    if (resize(std::max(needed, capacity_ + capacity_ / 2))) return;
    if (!resize(needed)) throw std::bad_alloc();
  }

  bool resize(std::size_t capacity) {
    auto* const bytes = static_cast<char*>(std::realloc(bytes_.get(), capacity));
    if (bytes == nullptr) return false;
    static_cast<void>(bytes_.release());  // realloc has taken it over
    bytes_.reset(bytes);
    capacity_ = capacity;
    return true;
  }

  void release() {
    bytes_.reset();
    capacity_ = 0;
  }

  std::unique_ptr<char, Free> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace com::corvane::connectivity::plugins
