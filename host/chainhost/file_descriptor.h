// chainhost/file_descriptor.h : an owned file descriptor, and an event to wait for with poll.
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <utility>

namespace chainhost {

class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int owned) noexcept : fd_(owned) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~FileDescriptor() {
    if (fd_ >= 0) {
      ::close(fd_);
    }
  }

  int get() const noexcept { return fd_; }
  int release() noexcept { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

// Set once, from any thread; from then on fd() is readable. Throws std::system_error when the
// system gives no descriptor.
class Event {
 public:
  Event() : fd_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (fd_.get() < 0) {
      throw std::system_error(errno, std::generic_category(), "eventfd");
    }
  }

  void set() noexcept {
    const std::uint64_t one = 1;
    // The only failure is a counter at its limit, and then the event is set anyway.
    [[maybe_unused]] const auto written = ::write(fd_.get(), &one, sizeof one);
  }

  int fd() const noexcept { return fd_.get(); }

 private:
  FileDescriptor fd_;
};

}  // namespace chainhost
