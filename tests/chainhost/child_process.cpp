#include "chainhost/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

extern char** environ;

namespace chainhost {

namespace {

struct Pipe {
  FileDescriptor reader;
  FileDescriptor writer;
};

Pipe makePipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

pid_t spawn(const std::vector<std::string>& arguments, int input, int output, int error) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
  // The program starts as from a shell, whatever this process has made of SIGPIPE.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::vector<char*> argv;
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int status = ::posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (status != 0) {
    throw std::system_error(status, std::generic_category(), arguments[0]);
  }
  return pid;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, int outputFd) {
  ::signal(SIGPIPE, SIG_IGN);
  Pipe input = makePipe();
  Pipe output = makePipe();
  Pipe error = makePipe();
  pid_ = spawn(arguments, input.reader.get(), outputFd < 0 ? output.writer.get() : outputFd,
               error.writer.get());
  input_ = std::move(input.writer);
  streams_[0].fd = std::move(output.reader);
  streams_[1].fd = std::move(error.reader);
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

void ChildProcess::write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(input_.get(), text.data(), text.size());
    if (written < 0) {
      throw std::system_error(errno, std::generic_category(), "standard input");
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void ChildProcess::closeInput() { input_ = FileDescriptor(); }

void ChildProcess::closeOutput() {
  streams_[0].fd = FileDescriptor();
  streams_[0].ended = true;
}

std::string ChildProcess::readLine() { return readLine(streams_[0]); }

std::string ChildProcess::readErrorLine() { return readLine(streams_[1]); }

std::string ChildProcess::waitForError(std::string_view part) {
  for (;;) {
    std::string line = readErrorLine();
    if (line.find(part) != std::string::npos) {
      return line;
    }
  }
}

void ChildProcess::signal(int number) { ::kill(pid_, number); }

int ChildProcess::wait() {
  while (!streams_[0].ended || !streams_[1].ended) {
    readSome();
  }
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

std::string ChildProcess::lastErrorLine() const {
  const std::string& text = streams_[1].text;
  if (text.empty()) {
    return text;
  }
  const std::size_t before = text.rfind('\n', text.size() - 2);
  const std::size_t start = before == std::string::npos ? 0 : before + 1;
  return text.substr(start, text.size() - start - 1);
}

std::string ChildProcess::readLine(Stream& stream) {
  std::size_t feed = std::string::npos;
  while ((feed = stream.text.find('\n')) == std::string::npos) {
    if (stream.ended) {
      throw std::runtime_error("the stream ended with: " + stream.text +
                               "; standard error: " + streams_[1].text);
    }
    readSome();
  }
  const std::string line = stream.text.substr(0, feed);
  stream.text.erase(0, feed + 1);
  return line;
}

void ChildProcess::readSome() {
  std::array<pollfd, 2> waited{{{streams_[0].ended ? -1 : streams_[0].fd.get(), POLLIN, 0},
                                {streams_[1].ended ? -1 : streams_[1].fd.get(), POLLIN, 0}}};
  if (::poll(waited.data(), waited.size(), kPatienceMs) <= 0) {
    throw std::runtime_error("nothing came for a minute; output: " + streams_[0].text +
                             "; standard error: " + streams_[1].text);
  }
  for (std::size_t index = 0; index < streams_.size(); ++index) {
    if (waited[index].revents == 0) {
      continue;
    }
    std::array<char, 65536> bytes;
    const ssize_t got = ::read(streams_[index].fd.get(), bytes.data(), bytes.size());
    if (got > 0) {
      streams_[index].text.append(bytes.data(), static_cast<std::size_t>(got));
    } else {
      streams_[index].ended = true;
    }
  }
}

}  // namespace chainhost
