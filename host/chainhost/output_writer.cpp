#include "chainhost/output_writer.h"

#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "runtime/platform.h"

namespace chainhost {

namespace {

bool isRegularFile(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

class OutputWriter::WriterThread : public com::orvex::Thread {
 public:
  explicit WriterThread(OutputWriter& owner) : Thread("outputWriter"), owner_(owner) {}

  int run() override { return owner_.run(); }

 private:
  OutputWriter& owner_;
};

OutputWriter::OutputWriter(int fd, FailureHandler onFailure, std::size_t pendingBytesMax)
    : fd_(fd),
      neverBlocks_(isRegularFile(fd)),
      onFailure_(std::move(onFailure)),
      pendingBytesMax_(pendingBytesMax),
      thread_(new WriterThread(*this)) {
  thread_->start();
}

OutputWriter::~OutputWriter() {
  abandon();
  finish();
}

void OutputWriter::append(std::string_view lines) {
  com::orvex::AutoMutex lock(mutex_);
  while (!dropping_ && !hurried_ && !pending_.empty() &&
         pending_.size() + lines.size() > pendingBytesMax_) {
    condition_.wait();
  }
  if (dropping_) {
    return;
  }
  pending_ += lines;
  behind_.store(true);
  const bool wakesWriter = std::exchange(writerWaits_, false);
  lock.unlock();
  if (wakesWriter) {
    condition_.broadcast();
  }
}

void OutputWriter::hurry() {
  com::orvex::AutoMutex lock(mutex_);
  hurried_ = true;
  condition_.broadcast();
}

void OutputWriter::finish() {
  {
    com::orvex::AutoMutex lock(mutex_);
    finishing_ = true;
    condition_.broadcast();
    while (!ended_ && !hurried_) {
      condition_.wait();
    }
    const std::int64_t deadlineNanos =
        com::orvex::Platform::monotonicNanos() + kGraceMs * 1'000'000;
    while (!ended_ && com::orvex::Platform::monotonicNanos() < deadlineNanos) {
      condition_.timedwaitRelative(kGraceMs / 10);
    }
  }
  abandon();
  thread_->stop();
}

// Drops what is unwritten and all that comes; a write that waits for its reader ends.
void OutputWriter::abandon() {
  abandoned_.set();
  com::orvex::AutoMutex lock(mutex_);
  dropping_ = true;
  pending_.clear();
  condition_.broadcast();
}

int OutputWriter::run() {
  std::string writing;
  com::orvex::AutoMutex lock(mutex_);
  for (;;) {
    while (pending_.empty() && !finishing_) {
      behind_.store(false);
      writerWaits_ = true;
      condition_.wait();
      writerWaits_ = false;
      // Whoever can run on this processor just now may have lines, too, that then cost no write and
      // no wake-up of their own. Where nobody can, this takes no time.
      lock.unlock();
      std::this_thread::yield();
      lock.lock();
    }
    if (pending_.empty()) {
      behind_.store(false);
      ended_ = true;
      condition_.broadcast();
      return 0;
    }
    writing.clear();
    std::swap(writing, pending_);
    condition_.broadcast();  // there is room again
    lock.unlock();
    const bool written = writeAll(writing);
    lock.lock();
    if (!written) {
      dropping_ = true;
      pending_.clear();
      condition_.broadcast();
    }
  }
}

// False: the rest is dropped, because the output failed (reported) or was abandoned.
bool OutputWriter::writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!neverBlocks_ && !waitWritable()) {
      return false;
    }
    // A pipe that is ready takes PIPE_BUF bytes without blocking, and no more for sure; a write
    // that blocks could not be abandoned.
    const std::size_t count =
        neverBlocks_ ? bytes.size() : std::min<std::size_t>(bytes.size(), PIPE_BUF);
    const ssize_t written = ::write(fd_, bytes.data(), count);
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR && errno != EAGAIN) {
      onFailure_(std::generic_category().message(errno));
      return false;
    }
  }
  return true;
}

// False: the output was abandoned.
bool OutputWriter::waitWritable() const {
  std::array<pollfd, 2> waited{{{fd_, POLLOUT, 0}, {abandoned_.fd(), POLLIN, 0}}};
  int ready = 0;
  do {
    ready = ::poll(waited.data(), waited.size(), -1);
  } while (ready < 0 && errno == EINTR);
  return waited[1].revents == 0;
}

}  // namespace chainhost
