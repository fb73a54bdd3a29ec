#include "chainhost/text_buffer.h"

#include <algorithm>
#include <utility>

namespace chainhost {

void TextBuffer::grow(std::size_t bytes) {
  constexpr std::size_t kFirstBytes = 256;
  const std::size_t capacity = std::max({kFirstBytes, 2 * capacity_, size_ + bytes});
  auto grown = std::make_unique_for_overwrite<char[]>(capacity);
  if (size_ > 0) {
    std::memcpy(grown.get(), bytes_.get(), size_);
  }
  bytes_ = std::move(grown);
  capacity_ = capacity;
}

}  // namespace chainhost
