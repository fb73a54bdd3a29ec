// chainhost/line_reader.h : cuts what is read from a descriptor into lines.
//
// Threads:   one thread only (the delivering one).
// Ownership: borrows the descriptor. Lines are views into the reader's buffer.
// Errors:    std::system_error when reading fails; std::bad_alloc for a line beyond memory.
// Invariants: 1) kPaddingBytes readable bytes follow every line; 2) each byte is looked at once
//            for its line end, however long the line is.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace chainhost {

class LineReader {
 public:
  static constexpr std::size_t kPaddingBytes = 64;

  // `chunkBytes`: the buffer's first size; a read asks for half of the buffer at least.
  explicit LineReader(int fd, std::size_t chunkBytes = 64 * 1024);

  // The next line that has been read whole, without its line feed; nothing when more must be
  // read. Valid until the next fill.
  std::optional<std::string_view> next();

  // Reads what is there; blocks while nothing is. False at the end of the input.
  bool fill();

  // What follows the last line feed, nothing if no byte does; forgets it.
  std::optional<std::string_view> takeRest();

 private:
  void makeRoom();

  const int fd_;
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_;
  std::size_t lineStart_ = 0;
  std::size_t scanned_ = 0;  // no line feed in [lineStart_, scanned_)
  std::size_t end_ = 0;
};

}  // namespace chainhost
