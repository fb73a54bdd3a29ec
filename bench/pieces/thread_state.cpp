#include "bench/pieces/thread_state.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace pieces {

ThreadState::ThreadState(pid_t thread)
    : descriptor_(::open(("/proc/self/task/" + std::to_string(thread) + "/stat").c_str(),
                         O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "state of a thread");
}

ThreadState::ThreadState(ThreadState&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

ThreadState::~ThreadState() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

// The line begins with "NUMBER (NAME) LETTER ".
bool ThreadState::isWaiting() const {
  char text[512];
  const ssize_t count = ::pread(descriptor_, text, sizeof(text), 0);
  if (count < 0) throw std::system_error(errno, std::generic_category(), "state of a thread");
  const std::string_view line(text, static_cast<std::size_t>(count));
  return line.find(") S ") != std::string_view::npos;
}

}  // namespace pieces
