#include "chainhost/line_reader.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace chainhost {

LineReader::LineReader(int fd, std::size_t chunkBytes)
    : fd_(fd), buffer_(new char[chunkBytes + kPaddingBytes]()), capacity_(chunkBytes) {}

std::optional<std::string_view> LineReader::next() {
  const char* const feed = static_cast<const char*>(
      end_ == scanned_ ? nullptr : std::memchr(&buffer_[scanned_], '\n', end_ - scanned_));
  if (feed == nullptr) {
    scanned_ = end_;
    return std::nullopt;
  }
  const std::string_view line(&buffer_[lineStart_], feed);
  lineStart_ = scanned_ = lineStart_ + line.size() + 1;
  return line;
}

bool LineReader::fill() {
  makeRoom();
  ssize_t got = 0;
  do {
    got = ::read(fd_, &buffer_[end_], capacity_ - end_);
  } while (got < 0 && errno == EINTR);
  if (got < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  end_ += static_cast<std::size_t>(got);
  return got > 0;
}

std::optional<std::string_view> LineReader::takeRest() {
  if (lineStart_ == end_) {
    return std::nullopt;
  }
  const std::string_view rest(&buffer_[lineStart_], end_ - lineStart_);
  lineStart_ = scanned_ = end_;
  return rest;
}

// Moves the unfinished line to the front; doubles the buffer when that line fills half of it, so
// that a read never asks for little and moving costs a constant per byte.
void LineReader::makeRoom() {
  const std::size_t kept = end_ - lineStart_;
  if (kept > capacity_ / 2) {
    const std::size_t larger = capacity_ * 2;
    std::unique_ptr<char[]> buffer(new char[larger + kPaddingBytes]);
    std::memcpy(buffer.get(), &buffer_[lineStart_], kept);
    std::memset(&buffer[kept], 0, larger + kPaddingBytes - kept);
    buffer_ = std::move(buffer);
    capacity_ = larger;
  } else if (kept > 0) {
    std::memmove(&buffer_[0], &buffer_[lineStart_], kept);
  }
  scanned_ -= lineStart_;
  lineStart_ = 0;
  end_ = kept;
}

}  // namespace chainhost
