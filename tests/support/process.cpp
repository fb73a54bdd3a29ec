#include "support/process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <system_error>

namespace test_support {

namespace {

constexpr int kHangGuardMs = 60'000;
constexpr int kFirstDescriptor = 3;

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& added) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!added.contains(text.substr(0, text.find('=')))) {
      variables.push_back(text);
    }
  }
  for (const auto& [name, value] : added) {
    variables.push_back(name + "=" + value);
  }
  return variables;
}

// In the new process, between fork and exec: system calls only.
bool redirect(const char* file, int flags, int descriptor) {
  const int opened = open(file, flags, 0600);
  return opened >= 0 && dup2(opened, descriptor) >= 0 && close(opened) == 0;
}

// Places the descriptors from `first` on, by way of copies above all targets.
bool place(std::vector<int>& descriptors, int first) {
  const int above = first + static_cast<int>(descriptors.size());
  for (int& descriptor : descriptors) {
    descriptor = fcntl(descriptor, F_DUPFD_CLOEXEC, above);
    if (descriptor < 0) {
      return false;
    }
  }
  int target = first;
  for (const int descriptor : descriptors) {
    if (dup2(descriptor, target++) < 0) {
      return false;
    }
  }
  return true;
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments, const Options& options)
    : endSignal_(options.endSignal) {
  std::vector<std::string> words = arguments;
  const std::vector<char*> wordPointers = pointersTo(words);
  std::vector<std::string> variables = environmentWith(options.environment);
  const std::vector<char*> variablePointers = pointersTo(variables);
  std::vector<int> descriptors = options.descriptors;
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (id_ == 0) {
    prctl(PR_SET_PDEATHSIG, options.endSignal);
    if (getppid() == parent && redirect("/dev/null", O_RDONLY, STDIN_FILENO) &&
        redirect(options.outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO) &&
        redirect(options.errorFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO) &&
        place(descriptors, kFirstDescriptor)) {
      execvpe(wordPointers.front(), wordPointers.data(), variablePointers.data());
    }
    _exit(127);
  }
}

Process::~Process() {
  if (!running_) {
    return;
  }
  kill(id_, endSignal_);
  try {
    wait();
  } catch (const std::exception&) {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
}

void Process::signal(int number) {
  if (running_ && kill(id_, number) < 0) {
    throw std::system_error(errno, std::generic_category(), "kill");
  }
}

int Process::wait() {
  if (!running_) {
    return result_;
  }
  // The C library's own function has a header that C++ cannot link.
  const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, id_, 0));
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), "pidfd_open");
  }
  pollfd ended{descriptor, POLLIN, 0};
  const int ready = poll(&ended, 1, kHangGuardMs);
  close(descriptor);
  if (ready <= 0) {
    throw std::runtime_error("process " + std::to_string(id_) + " does not end");
  }
  int status = 0;
  waitpid(id_, &status, 0);
  running_ = false;
  result_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result_;
}

}  // namespace test_support
