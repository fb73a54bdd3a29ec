#include "chainhost/options.h"

#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

namespace chainhost {

const char* const kUsageText =
    R"(usage: chainhost run --config FILE [--input FILE|-] [--output FILE|-]
       chainhost echo-server [--port N]
       chainhost --help | --version

run          Loads the transport plugin that the configuration FILE names, sends it the messages
             of the input, one JSON object a line, and writes its responses to the output.
  --config   YAML or JSON
  --input    a file, or - for standard input (default)
  --output   a file, or - for standard output (default)
echo-server  Answers every HTTP request on 127.0.0.1 with a JSON description of it.
  --port     0 to 65535; 0 (default): any free port. The first line of output tells which.

Exit codes: 0 every message answered, 1 failure while running, 2 usage, 3 done, but some input
lines were refused, 69 plugin library missing or unfit, 78 bad configuration, 130 or 143 ended by
a second SIGINT or SIGTERM.
)";

namespace {

struct Option {
  const char* name;
  std::string* value;
  bool given = false;
};

void readOptions(std::span<const char* const> arguments, std::vector<Option> known) {
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string_view argument = arguments[index];
    if (!argument.starts_with("--")) {
      throw UsageError("unexpected argument " + std::string(argument));
    }
    const std::size_t equals = argument.find('=');
    const std::string name(argument.substr(0, equals));
    Option* option = nullptr;
    for (Option& candidate : known) {
      option = candidate.name == name ? &candidate : option;
    }
    if (option == nullptr) {
      throw UsageError("unknown option " + name);
    }
    if (std::exchange(option->given, true)) {
      throw UsageError(name + " given twice");
    }
    if (equals != std::string_view::npos) {
      *option->value = argument.substr(equals + 1);
    } else if (index + 1 < arguments.size()) {
      *option->value = arguments[++index];
    }
    if (option->value->empty()) {
      throw UsageError(name + " needs a value");
    }
  }
}

std::uint16_t toPort(const std::string& text) {
  std::uint16_t port = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), port);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
    throw UsageError("--port must be between 0 and 65535, not " + text);
  }
  return port;
}

}  // namespace

Options parseOptions(std::span<const char* const> arguments) {
  Options options;
  if (arguments.empty()) {
    throw UsageError("no command");
  }
  const std::string command = arguments.front();
  const auto rest = arguments.subspan(1);
  if (command == "--help" || command == "--version") {
    readOptions(rest, {});
    options.command = command == "--help" ? Command::Help : Command::Version;
  } else if (command == "run") {
    options.command = Command::Run;
    std::string input;
    std::string output;
    readOptions(rest,
                {{"--config", &options.configFile}, {"--input", &input}, {"--output", &output}});
    if (options.configFile.empty()) {
      throw UsageError("run needs --config FILE");
    }
    options.input = input.empty() ? options.input : input;
    options.output = output.empty() ? options.output : output;
  } else if (command == "echo-server") {
    options.command = Command::EchoServer;
    std::string port;
    readOptions(rest, {{"--port", &port}});
    options.port = port.empty() ? options.port : toPort(port);
  } else {
    throw UsageError("unknown command " + command);
  }
  return options;
}

}  // namespace chainhost
