// chainhost/line_reader.h : cuts what is read from a descriptor into lines.
//
// Threads:   one thread only (the delivering one).
// Ownership: borrows the descriptor. Lines are views into the reader's buffer.
// Errors:    std::system_error when reading fails. A line that is too long, or that there is no
//            memory for, comes as an empty one with a fault; it is not kept.
// Limits:    kLineBytesMax a line. The buffer takes no more than a line that is being read, and
//            gives what a giant took back.
// Invariants: 1) kPaddingBytes readable bytes follow every line; 2) each byte is looked at once
//            for its line end, however long the line is.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

namespace chainhost {

class LineReader {
 public:
  static constexpr std::size_t kPaddingBytes = 64;
  static constexpr std::size_t kLineBytesMax = 1024 * 1024 * 1024;
  static constexpr char kTooLong[] = "the line is longer than 1073741824 bytes";
  static constexpr char kNoMemory[] = "there is no memory for the line";

  // `chunkBytes`: the buffer's first size; a read asks for half of the buffer at least.
  explicit LineReader(int fd, std::size_t chunkBytes = 64 * 1024,
                      std::size_t lineBytesMax = kLineBytesMax);

  // The next line that has been read whole, without its line feed; nothing when more must be
  // read. Valid until the next fill. A line that has a fault comes at once, and empty; what is
  // still to be read of it is dropped.
  std::optional<std::string_view> next();

  // What is wrong with the line that next gave: kTooLong, kNoMemory, or null.
  const char* fault() const { return fault_; }

  // Reads what is there; blocks while nothing is. False at the end of the input.
  bool fill();

  // What follows the last line feed, nothing if no byte does, or bytes of a line with a fault;
  // forgets it.
  std::optional<std::string_view> takeRest();

 private:
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };

  bool resize(std::size_t capacity);
  void makeRoom();
  std::string_view giveUp(const char* fault);
  void skipRest();

  const int fd_;
  const std::size_t chunkBytes_;
  const std::size_t lineBytesMax_;
  std::unique_ptr<char, Free> buffer_;
  std::size_t capacity_ = 0;
  std::size_t lineStart_ = 0;
  std::size_t scanned_ = 0;  // no line feed in [lineStart_, scanned_)
  std::size_t end_ = 0;
  const char* fault_ = nullptr;
  bool outOfMemory_ = false;  // the line that is being read could not grow
  bool skipping_ = false;     // up to the line feed of a line with a fault
};

}  // namespace chainhost
