#include "bench/bounds_chainhost.h"

#include <sys/resource.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "support/process.h"
#include "support/temp_dir.h"

namespace bench {
namespace {

constexpr char kLine[] =
    R"({"metadata": {"requestId": 1, "http": {"method": "GET", "path": "/"}}})";

// The greatest resident memory of any process that this one has made and that has ended.
std::uint64_t peakOfChildren() {
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

// An ordinary line, then one of so many zeros, which take no room on the disk, then one more.
std::string inputFile(const test_support::TempDir& folder, std::uint64_t lineBytes) {
  const std::string file = folder.write("input", std::string(kLine) + "\n");
  if (lineBytes == 0) return file;
  std::filesystem::resize_file(file, std::filesystem::file_size(file) + lineBytes);
  std::ofstream(file, std::ios::app) << "\n" << kLine << "\n";
  return file;
}

// Returns the output.
std::string run(const test_support::TempDir& folder, std::uint64_t lineBytes, std::uint16_t port) {
  const std::string config = folder.write("host.yaml", "plugin: {library: " HTTP_CLIENT_LIBRARY
                                                       "}\nconfig: {host: 127.0.0.1, port: " +
                                                           std::to_string(port) + "}\n");
  test_support::Process::Options options;
  options.errorFile = folder.file("errors");
  const std::string output = folder.file("output");
  test_support::Process host({CHAINHOST, "run", "--config", config, "--input",
                              inputFile(folder, lineBytes), "--output", output},
                             options);
  host.wait();
  return test_support::readFile(output);
}

// What stands between two texts of the output; "" when they do not.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
  const std::size_t first = text.find(begin);
  if (first == std::string::npos) return "";
  const std::size_t from = first + begin.size();
  return text.substr(from, text.find(end, from) - from);
}

}  // namespace

BoundsResult measureChainhost(std::uint64_t lineBytes, std::uint16_t port) {
  const test_support::TempDir folder;
  run(folder, 0, port);
  const std::uint64_t idleBytes = peakOfChildren();
  const std::string output = run(folder, lineBytes, port);
  BoundsResult result;
  result.peakBytes = peakOfChildren() - idleBytes;
  result.status = "line" + between(output, "\"line\": ", "}");
  result.reason = between(output, "\"error\": \"", "\"");
  // Of both ordinary lines, whose answers may stand anywhere.
  std::size_t answers = 0;
  for (std::size_t at = 0; (at = output.find("\"statusCode\": 200", at)) != std::string::npos;
       ++at) {
    ++answers;
  }
  result.nextStatus = answers == 2 ? "200" : std::to_string(answers) + "answers";
  return result;
}

}  // namespace bench
