// chainhost/main.cpp : the stand-alone host program. Start reading at run_command.h.
#include <signal.h>

#include <cstdio>
#include <span>

#include "chainhost/echo_server.h"
#include "chainhost/exit_code.h"
#include "chainhost/options.h"
#include "chainhost/report.h"
#include "chainhost/run_command.h"

namespace {

using chainhost::ExitCode;

ExitCode perform(const chainhost::Options& options) {
  switch (options.command) {
    case chainhost::Command::Run:
      return chainhost::runCommand(options);
    case chainhost::Command::EchoServer:
      return chainhost::echoServerCommand(options.port);
    case chainhost::Command::Help:
      std::fputs(chainhost::kUsageText, stdout);
      return ExitCode::Done;
    case chainhost::Command::Version:
      std::puts("chainhost " CHAINHOST_VERSION);
      return ExitCode::Done;
  }
  return ExitCode::Usage;
}

}  // namespace

int main(int argc, char** argv) {
  // A peer that goes away is an error of the write, not the end of the process.
  ::signal(SIGPIPE, SIG_IGN);
  try {
    const std::span<const char* const> arguments(argv + 1, argc > 0 ? argv + argc : argv + 1);
    return static_cast<int>(perform(chainhost::parseOptions(arguments)));
  } catch (const chainhost::UsageError& error) {
    chainhost::report(error.what());
    std::fputs(chainhost::kUsageText, stderr);
    return static_cast<int>(ExitCode::Usage);
  }
}
