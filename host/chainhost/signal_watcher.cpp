#include "chainhost/signal_watcher.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "chainhost/exit_code.h"
#include "runtime/platform.h"

namespace chainhost {

namespace {

sigset_t endSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

FileDescriptor openSignals() {
  const sigset_t set = endSignals();
  FileDescriptor fd(::signalfd(-1, &set, SFD_CLOEXEC));
  if (fd.get() < 0) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  return fd;
}

std::int64_t nowMs() { return com::orvex::Platform::monotonicNanos() / 1'000'000; }

}  // namespace

void blockEndSignals() {
  const sigset_t set = endSignals();
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int waitForEndSignal() {
  const sigset_t set = endSignals();
  int number = 0;
  ::sigwait(&set, &number);
  return number;
}

class SignalWatcher::WatcherThread : public com::orvex::Thread {
 public:
  explicit WatcherThread(SignalWatcher& owner) : Thread("signalWatcher"), owner_(owner) {}

  int run() override { return owner_.run(); }

 private:
  SignalWatcher& owner_;
};

SignalWatcher::SignalWatcher(Handler handler, OverdueHandler onOverdue, std::int64_t graceMs)
    : handler_(std::move(handler)), onOverdue_(std::move(onOverdue)), graceMs_(graceMs) {
  blockEndSignals();
  signals_ = openSignals();
  thread_.reset(new WatcherThread(*this));
  thread_->start();
}

SignalWatcher::~SignalWatcher() {
  stopped_.set();
  thread_->stop();
}

int SignalWatcher::run() {
  std::array<pollfd, 3> waited{
      {{signals_.get(), POLLIN, 0}, {stopped_.fd(), POLLIN, 0}, {graceStarted_.fd(), POLLIN, 0}}};
  std::int64_t deadlineMs = 0;  // 0: none
  for (;;) {
    const std::int64_t leftMs =
        deadlineMs == 0 ? -1 : std::max<std::int64_t>(deadlineMs - nowMs(), 0);
    const int ready = ::poll(waited.data(), waited.size(), static_cast<int>(leftMs));
    if (ready < 0) {
      continue;
    }
    if (waited[1].revents != 0) {
      return 0;
    }
    if (ready == 0) {
      onOverdue_();
      deadlineMs = 0;
      continue;
    }
    if (waited[0].revents != 0) {
      readSignal();
    }
    if (waited[2].revents != 0) {
      waited[2].fd = -1;  // seen; a negative one is passed over
      deadlineMs = nowMs() + graceMs_;
    }
  }
}

void SignalWatcher::readSignal() {
  signalfd_siginfo info{};
  if (::read(signals_.get(), &info, sizeof info) != sizeof info) {
    return;
  }
  const int number = static_cast<int>(info.ssi_signo);
  if (++signalCount_ > 2) {
    ::_exit(static_cast<int>(ExitCode::SignalExitBase) + number);
  }
  handler_(number);
}

}  // namespace chainhost
