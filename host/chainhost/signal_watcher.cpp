#include "chainhost/signal_watcher.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "chainhost/exit_code.h"

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

SignalWatcher::SignalWatcher(Handler handler) : handler_(std::move(handler)) {
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
  std::array<pollfd, 2> waited{{{signals_.get(), POLLIN, 0}, {stopped_.fd(), POLLIN, 0}}};
  for (int received = 0;;) {
    if (::poll(waited.data(), waited.size(), -1) < 0) {
      continue;
    }
    if (waited[1].revents != 0) {
      return 0;
    }
    signalfd_siginfo info{};
    if (::read(signals_.get(), &info, sizeof info) != sizeof info) {
      continue;
    }
    const int number = static_cast<int>(info.ssi_signo);
    if (++received > 2) {
      ::_exit(static_cast<int>(ExitCode::SignalExitBase) + number);
    }
    handler_(number);
  }
}

}  // namespace chainhost
