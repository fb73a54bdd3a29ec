// chainhost/child_process.h : the program under test as a process of its own, seen from outside.
//
// Threads:   one thread only.
// Ownership: the destructor ends a process that still runs and takes its end.
// Errors:    std::runtime_error when the system refuses or a wait exceeds kPatienceMs, which no
//            healthy run comes near.
#pragma once

#include <sys/types.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "chainhost/file_descriptor.h"

namespace chainhost {

class ChildProcess {
 public:
  static constexpr int kPatienceMs = 60'000;

  // Starts `arguments[0]` with pipes for its three standard streams. Of the output only what
  // `outputFd` does not take away is read here (-1: all of it).
  explicit ChildProcess(const std::vector<std::string>& arguments, int outputFd = -1);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  // Writes to its standard input; blocks while it does not read.
  void write(std::string_view text);
  void closeInput();
  // Goes away as the reader of its standard output.
  void closeOutput();

  // The next line of its standard output or error, without the line feed. Waits for it. What
  // arrives on the other stream meanwhile is kept.
  std::string readLine();
  std::string readErrorLine();
  // Reads standard error up to the first line that contains `part`; returns that line.
  std::string waitForError(std::string_view part);

  void signal(int number);

  // Waits for its end. The exit code, or 1000 + the signal that ended it.
  int wait();

  // After wait: what has not been read of its standard output and error.
  const std::string& restOfOutput() const { return streams_[0].text; }
  const std::string& restOfError() const { return streams_[1].text; }
  // The last line of standard error.
  std::string lastErrorLine() const;

 private:
  struct Stream {
    FileDescriptor fd;
    std::string text;  // read and not yet handed out
    bool ended = false;
  };

  std::string readLine(Stream& stream);
  void readSome();

  pid_t pid_ = -1;
  FileDescriptor input_;
  std::array<Stream, 2> streams_;
};

}  // namespace chainhost
