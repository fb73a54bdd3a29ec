#include "chainhost/run_command.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "chainhost/delivery.h"
#include "chainhost/file_descriptor.h"
#include "chainhost/host_config.h"
#include "chainhost/host_element.h"
#include "chainhost/output_writer.h"
#include "chainhost/plugin_library.h"
#include "chainhost/report.h"
#include "chainhost/run_state.h"
#include "chainhost/run_summary.h"
#include "chainhost/signal_watcher.h"
#include "kel/host_control.h"
#include "runtime/platform.h"

namespace chainhost {

namespace {

// How long a transport may take to end after its work has been abandoned.
constexpr std::int64_t kGraceMs = 3000;

// An input or output of the command line: a file, or a standard stream for "-".
class Stream {
 public:
  Stream(const std::string& path, int standardFd, const char* standardName, int openFlags)
      : name_(path == "-" ? standardName : path) {
    if (path == "-") {
      fd_ = standardFd;
      return;
    }
    file_ = FileDescriptor(::open(path.c_str(), openFlags | O_CLOEXEC, 0666));
    if (file_.get() < 0) {
      throw std::runtime_error("cannot open " + path + ": " +
                               std::generic_category().message(errno));
    }
    fd_ = file_.get();
  }

  int fd() const noexcept { return fd_; }
  const std::string& name() const noexcept { return name_; }

  // Closes a file; some file systems tell only now that a write has failed.
  void close() {
    const int fd = file_.release();
    if (fd >= 0 && ::close(fd) != 0) {
      throw std::runtime_error("cannot write " + name_ + ": " +
                               std::generic_category().message(errno));
    }
  }

 private:
  const std::string name_;
  FileDescriptor file_;
  int fd_ = -1;
};

// Puts something in the place of standard streams that are closed, so that no other descriptor
// gets their numbers; reading the input and writing the output fail as they should.
void occupyStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) < 0) {
      ::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // gets the lowest number
    }
  }
}

// One run of a plugin that has been created, until it has been destroyed.
class Run {
 public:
  Run(const Options& options, const HostConfig& config, Stream& input, Plugin& plugin,
      RunState& state)
      : config_(config),
        input_(input),
        plugin_(plugin),
        state_(state),
        outputStream_(options.output, STDOUT_FILENO, "standard output",
                      O_WRONLY | O_CREAT | O_TRUNC),
        output_(outputStream_.fd(),
                [this](const std::string& reason) {
                  state_.fail("cannot write " + outputStream_.name() + ": " + reason);
                }),
        element_(output_, state_),
        watcher_([this](int number) { signalReceived(number); }, [this] { endOverdue(); },
                 kGraceMs) {}
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  // The plugin calls the element until it has been destroyed.
  ~Run() { plugin_.destroy(); }

  ExitCode perform();

 private:
  // On the watcher's thread.
  void signalReceived(int number);
  [[noreturn]] void endOverdue();

  bool startPlugin();
  void abandon();
  void deliverAndWait();
  void shutDownPlugin();
  void closeOutput();
  void reportEnd();
  ExitCode exitCode() const;

  const HostConfig& config_;
  Stream& input_;
  Plugin& plugin_;
  RunState& state_;
  Stream outputStream_;
  OutputWriter output_;
  HostElement element_;
  std::int64_t startNanos_ = com::orvex::Platform::monotonicNanos();
  std::atomic<bool> hasReported_{false};
  SignalWatcher watcher_;
};

void Run::signalReceived(int number) {
  state_.signalReceived(number);
  if (state_.isAbandoned()) {
    abandon();
  }
}

// From now on the transport need not answer what it has in hand, and nobody waits for the output
// or, beyond a time of grace, for the transport.
void Run::abandon() {
  kel_host_set_shutting_down(&state_, true);
  output_.hurry();
  watcher_.startGrace();
}

// The transport's workers are in the middle of something: the process ends under them, without
// the destructors that an ordinary end runs.
void Run::endOverdue() {
  state_.fail("the transport has not ended within " + std::to_string(kGraceMs / 1000) +
              " seconds, leaving it");
  output_.finish();
  reportEnd();
  ::_exit(static_cast<int>(exitCode()));
}

ExitCode Run::perform() {
  if (startPlugin()) {
    deliverAndWait();
  } else {
    shutDownPlugin();
  }
  if (!plugin_.destroy()) {
    state_.fail("the transport's destroy failed");
  }
  closeOutput();
  if (state_.surplus() > 0) {
    state_.fail("the transport sent more responses than it got messages: " +
                std::to_string(state_.surplus()) + " more");
  }
  reportEnd();
  return exitCode();
}

bool Run::startPlugin() {
  try {
    plugin_.setNextTowardsHost(&element_, &HostElement::receive);
    plugin_.start();
    plugin_.hostReady();
    return true;
  } catch (const PluginFailure& error) {
    state_.fail(error.what());
    return false;
  }
}

void Run::deliverAndWait() {
  const com::orvex::RefPtr<Delivery> delivery(
      new Delivery(input_.fd(), input_.name(), plugin_, output_, state_));
  delivery->start();
  const RunState::End end = state_.wait(output_, config_.answerTimeoutSecs * 1000);
  if (end == RunState::End::Unanswered) {
    state_.fail("no response within answerTimeoutSecs (" +
                std::to_string(config_.answerTimeoutSecs) + "), giving up");
  }
  if (end == RunState::End::AllAnswered) {
    delivery->stop();
  } else {
    abandon();
  }
  // The shutdown also ends a delivery that the transport keeps waiting for room.
  shutDownPlugin();
  delivery->stop();
}

void Run::shutDownPlugin() {
  try {
    plugin_.shutdown();
  } catch (const PluginFailure& error) {
    state_.fail(error.what());
  }
  kel_host_close_status(&state_, true);
}

void Run::closeOutput() {
  output_.finish();
  try {
    outputStream_.close();
  } catch (const std::runtime_error& error) {
    state_.fail(error.what());
  }
}

void Run::reportEnd() {
  if (hasReported_.exchange(true)) {
    return;
  }
  if (!state_.failure().empty()) {
    report(state_.failure());
  }
  if (state_.unanswered() > 0) {
    report("messages not answered: " + std::to_string(state_.unanswered()));
  }
  RunSummary summary = element_.summary();
  summary.messages = state_.messages();
  summary.refused = state_.refusedLines();
  const std::int64_t endNanos = std::max(startNanos_, element_.lastResponseNanos());
  summary.seconds = static_cast<double>(endNanos - startNanos_) * 1e-9;
  report(summaryText(summary));
}

ExitCode Run::exitCode() const {
  if (state_.signalCount() > 1) {
    return static_cast<ExitCode>(static_cast<int>(ExitCode::SignalExitBase) + state_.lastSignal());
  }
  if (!state_.failure().empty() || state_.unanswered() > 0) {
    return ExitCode::Failed;
  }
  return state_.refusedLines() > 0 ? ExitCode::LinesRefused : ExitCode::Done;
}

ExitCode runPlugin(const Options& options) {
  const HostConfig config = loadHostConfig(options.configFile);
  for (const auto& [prefix, level] : config.logLevels) {
    kel_host_set_log_level(prefix.c_str(), level);
  }
  Stream input(options.input, STDIN_FILENO, "standard input", O_RDONLY);
  const PluginLibrary library(config.libraryPath, config.className);
  RunState state;  // its address stands for the element in the host's functions
  try {
    Plugin plugin(library, config.pluginName, config.chainId, config.pluginConfig, &state, &state);
    return Run(options, config, input, plugin, state).perform();
  } catch (const PluginRefused& error) {
    throw ConfigError(options.configFile + ": " + error.what());
  }
}

}  // namespace

ExitCode runCommand(const Options& options) {
  occupyStandardStreams();
  blockEndSignals();
  try {
    return runPlugin(options);
  } catch (const ConfigError& error) {
    report(error.what());
    return ExitCode::BadConfiguration;
  } catch (const PluginUnfit& error) {
    report(error.what());
    return ExitCode::PluginUnfit;
  } catch (const std::exception& error) {
    report(error.what());
    return ExitCode::Failed;
  }
}

}  // namespace chainhost
