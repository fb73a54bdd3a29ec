#include "bench/comparison/answer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace bench {
namespace {

constexpr std::size_t kFileBytesMin = 32 * 1024;

std::string answerOf(std::size_t bodyBytes) {
  return "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: " +
         std::to_string(bodyBytes) + "\r\n\r\n" + std::string(bodyBytes, 'y');
}

int fileOf(std::string_view bytes) {
  if (bytes.size() < kFileBytesMin) return Answer::kNoFile;
  const int file = ::memfd_create("answer", MFD_CLOEXEC);
  if (file < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
  if (::write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    const int error = errno;
    ::close(file);
    throw std::system_error(error, std::generic_category(), "write");
  }
  return file;
}

}  // namespace

Answer::Answer(std::size_t bodyBytes) : bytes_(answerOf(bodyBytes)), file_(fileOf(bytes_)) {}

Answer::~Answer() {
  if (file_ != kNoFile) ::close(file_);
}

}  // namespace bench
