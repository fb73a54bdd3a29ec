#include "chainhost/line_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

namespace chainhost {

namespace {

// A larger buffer is made small again once its line has gone.
constexpr std::size_t kKeptBytesMax = 16 * 1024 * 1024;

}  // namespace

LineReader::LineReader(int fd, std::size_t chunkBytes, std::size_t lineBytesMax)
    : fd_(fd), chunkBytes_(chunkBytes), lineBytesMax_(lineBytesMax) {
  if (!resize(chunkBytes)) {
    throw std::bad_alloc();
  }
  std::memset(buffer_.get(), 0, chunkBytes + kPaddingBytes);
}

bool LineReader::resize(std::size_t capacity) {
  auto* const bytes = static_cast<char*>(std::realloc(buffer_.get(), capacity + kPaddingBytes));
  if (bytes == nullptr) {
    return false;
  }
  static_cast<void>(buffer_.release());  // realloc has taken it over
  buffer_.reset(bytes);
  capacity_ = capacity;
  return true;
}

std::optional<std::string_view> LineReader::next() {
  fault_ = nullptr;
  if (skipping_) {
    skipRest();
  }
  const char* const bytes = buffer_.get();
  const char* const feed = static_cast<const char*>(
      end_ == scanned_ ? nullptr : std::memchr(bytes + scanned_, '\n', end_ - scanned_));
  if (feed == nullptr) {
    scanned_ = end_;
    const bool isTooLong = end_ - lineStart_ > lineBytesMax_;
    if (!isTooLong && !outOfMemory_) {
      return std::nullopt;
    }
    skipping_ = true;
    return giveUp(isTooLong ? kTooLong : kNoMemory);
  }
  const std::string_view line(bytes + lineStart_, feed);
  lineStart_ = scanned_ = lineStart_ + line.size() + 1;
  return line.size() > lineBytesMax_ ? giveUp(kTooLong) : line;
}

// The empty line that stands for one with a fault.
std::string_view LineReader::giveUp(const char* fault) {
  fault_ = fault;
  outOfMemory_ = false;
  return {};
}

// Drops what has been read of a line with a fault, its line feed included.
void LineReader::skipRest() {
  const char* const begin = buffer_.get() + lineStart_;
  const auto* const feed = static_cast<const char*>(std::memchr(begin, '\n', end_ - lineStart_));
  skipping_ = feed == nullptr;
  lineStart_ = feed == nullptr ? end_ : lineStart_ + static_cast<std::size_t>(feed - begin) + 1;
  scanned_ = lineStart_;
}

bool LineReader::fill() {
  if (skipping_) {
    skipRest();
  }
  makeRoom();
  if (outOfMemory_) {
    return true;
  }
  // Of a line that is too long no more is read than shows it.
  const std::size_t allowed = lineBytesMax_ - std::min(end_, lineBytesMax_) + 1;
  const std::size_t wanted = std::min(capacity_ - end_, std::max(allowed, chunkBytes_));
  ssize_t got = 0;
  do {
    got = ::read(fd_, buffer_.get() + end_, wanted);
  } while (got < 0 && errno == EINTR);
  if (got < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  end_ += static_cast<std::size_t>(got);
  std::memset(buffer_.get() + end_, 0, kPaddingBytes);
  return got > 0;
}

std::optional<std::string_view> LineReader::takeRest() {
  if (skipping_) {
    skipRest();
  }
  if (lineStart_ == end_) {
    return std::nullopt;
  }
  const std::string_view rest(buffer_.get() + lineStart_, end_ - lineStart_);
  lineStart_ = scanned_ = end_;
  return rest;
}

// Moves the unfinished line to the front; doubles the buffer when that line fills half of it, so
// that a read never asks for little and moving costs a constant per byte.
void LineReader::makeRoom() {
  const std::size_t kept = end_ - lineStart_;
  if (kept > 0 && lineStart_ > 0) {
    std::memmove(buffer_.get(), buffer_.get() + lineStart_, kept);
  }
  scanned_ -= lineStart_;
  lineStart_ = 0;
  end_ = kept;
  if (kept > capacity_ / 2) {
    outOfMemory_ = !resize(capacity_ * 2) && end_ == capacity_;
  } else if (capacity_ > kKeptBytesMax && kept <= chunkBytes_) {
    resize(chunkBytes_);
  }
}

}  // namespace chainhost
