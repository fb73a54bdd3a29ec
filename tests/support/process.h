// support/process.h : a program that runs beside the test and ends with it.
//
// Threads:   one thread only; the program is sent its end signal when that thread ends.
// Ownership: the destructor ends the program if it still runs, and collects it.
// Errors:    std::system_error when the system refuses; a program that cannot be executed exits
//            with 127. wait throws std::runtime_error after 60 s.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

class Process {
 public:
  struct Options {
    std::map<std::string, std::string> environment;  // added to the test's own
    std::string outputFile = "/dev/null";            // standard output, created or emptied
    std::string errorFile = "/dev/null";             // standard error, likewise
    std::vector<int> descriptors;                    // open in the program as 3, 4, ...
    int endSignal = SIGKILL;  // ends the program when the test no longer wants or watches it
  };

  /// Starts a program. `arguments` begins with its name, which is looked up in PATH. Standard input
  /// is empty.
  Process(const std::vector<std::string>& arguments, const Options& options);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t id() const { return id_; }

  void signal(int number);

  /// Blocks until the program has ended. Result: its exit code, or 128 + the number of the signal
  /// that ended it. May be called again.
  int wait();

 private:
  const int endSignal_;
  pid_t id_;
  bool running_ = true;
  int result_ = 0;
};

}  // namespace test_support
