// chainhost/options.h : the command line.
//
// Errors:    UsageError: no command; unknown command TEXT; unknown option TEXT; OPTION needs a
//            value; OPTION given twice; run needs --config FILE; unexpected argument TEXT; --port
//            must be between 0 and 65535, not TEXT.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>

namespace chainhost {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class Command { Run, EchoServer, Help, Version };

struct Options {
  Command command = Command::Help;
  std::string configFile;
  std::string input = "-";   // "-": standard input
  std::string output = "-";  // "-": standard output
  std::uint16_t port = 0;    // 0: any free one
};

// Reads the arguments behind the program's name. A value stands behind its option, or after "=".
Options parseOptions(std::span<const char* const> arguments);

extern const char* const kUsageText;

}  // namespace chainhost
