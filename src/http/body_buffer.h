// http/body_buffer.h : the bytes of one response body, in memory that is used again for the next.
//
// Threads:   one worker only.
// Errors:    std::bad_alloc when memory runs out; the content so far stays.
// Invariants: bytes are never cleared: only the first size() of them mean anything.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
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
    if (capacity_ <= kKeptBytesMax) return;
    bytes_.reset();
    capacity_ = 0;
  }

  /// Room for `length` more bytes behind the content; valid until the next call of anything.
  char* room(std::size_t length) {
    if (capacity_ - size_ < length) grow(length);
    return bytes_.get() + size_;
  }

  /// Makes the first `length` bytes of the room part of the content.
  void add(std::size_t length) { size_ += length; }

 private:
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };

  void grow(std::size_t length) {
    const std::size_t wanted = std::max(size_ + length, capacity_ + capacity_ / 2);
    auto* const bytes = static_cast<char*>(std::realloc(bytes_.get(), wanted));
    if (bytes == nullptr) throw std::bad_alloc();
    static_cast<void>(bytes_.release());  // realloc has taken it over
    bytes_.reset(bytes);
    capacity_ = wanted;
  }

  std::unique_ptr<char, Free> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace com::corvane::connectivity::plugins
