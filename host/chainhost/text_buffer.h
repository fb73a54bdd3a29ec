// chainhost/text_buffer.h : a text that grows at its end, for lines that are put together of many
// short pieces.
//
// Role:      room is made once for several pieces, which are then written in place; nothing is
//            filled twice, and no NUL follows.
// Threads:   caller locks.
// Errors:    std::bad_alloc, which leaves the text as it was.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace chainhost {

class TextBuffer {
 public:
  TextBuffer() = default;
  TextBuffer(const TextBuffer&) = delete;
  TextBuffer& operator=(const TextBuffer&) = delete;

  TextBuffer& operator+=(std::string_view text) {
    if (!text.empty()) {
      std::memcpy(room(text.size()), text.data(), text.size());
      size_ += text.size();
    }
    return *this;
  }
  TextBuffer& operator+=(char character) {
    *room(1) = character;
    ++size_;
    return *this;
  }

  // Where the next `bytes` bytes may be written, which take() then adds. Valid until the next call
  // of another operation.
  char* room(std::size_t bytes) {
    if (capacity_ - size_ < bytes) {
      grow(bytes);
    }
    return bytes_.get() + size_;
  }
  // Adds what has been written to the room. REQUIRES: as many bytes of room were asked for.
  void take(std::size_t bytes) noexcept { size_ += bytes; }

  // Forgets the text; its memory stays when it is no more than this.
  void clear(std::size_t keptBytesMax) noexcept {
    size_ = 0;
    if (capacity_ > keptBytesMax) {
      bytes_.reset();
      capacity_ = 0;
    }
  }

  std::string_view view() const noexcept { return {bytes_.get(), size_}; }
  std::size_t size() const noexcept { return size_; }

 private:
  void grow(std::size_t bytes);

  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  std::size_t size_ = 0;
};

}  // namespace chainhost
