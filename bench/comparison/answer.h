// comparison/answer.h : what the comparison's server answers, head and body.
//
// Threads:   immutable; any thread.
// Ownership: owns its bytes, and closes its file.
// Errors:    std::system_error when a large answer cannot be kept as a file.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace bench {

class Answer {
 public:
  static constexpr int kNoFile = -1;

  explicit Answer(std::size_t bodyBytes);
  ~Answer();
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  std::string_view bytes() const { return bytes_; }

  /// A file with the same bytes, or kNoFile for a small answer. The system sends a file without
  /// copying it, so that large answers wait for the client's copying and not for the server's.
  int file() const { return file_; }

 private:
  const std::string bytes_;
  const int file_;
};

}  // namespace bench
