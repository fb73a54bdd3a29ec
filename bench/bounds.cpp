// What extreme requests and answers cost in memory, and that none ends the process:
// bounds [--short] [--only PART]. A line a case: the peak of resident memory above the idle state;
// what the process keeps of it a moment afterwards; what of that is in use, the rest being the C
// library's store; what came out; how the next request went. Exit code 0 when all is as it should
// be.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bounds_case.h"
#include "bench/bounds_chainhost.h"
#include "bench/bounds_child.h"
#include "support/process.h"
#include "support/scripted_server.h"
#include "support/temp_dir.h"

namespace {

using bench::BoundsCase;
using bench::BoundsResult;
using bench::BoundsScale;

// The sanitizers take address space without measure, and keep freed memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMeasures = false;
#else
constexpr bool kMeasures = true;
#endif

constexpr double kMiB = 1024.0 * 1024.0;
constexpr std::uint64_t kRestBytesMax = 12 * 1024 * 1024;

struct Options {
  bool isShort = false;
  std::string only;
  std::string child;  // the case to measure in this process
  std::uint16_t port = 0;
};

Options optionsOf(int count, char** values) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = values[i];
    const bool hasValue = i + 1 < count;
    if (name == "--short") {
      options.isShort = true;
    } else if (name == "--only" && hasValue) {
      options.only = values[++i];
    } else if (name == "--child" && hasValue) {
      options.child = values[++i];
    } else if (name == "--port" && hasValue) {
      options.port = static_cast<std::uint16_t>(std::atoi(values[++i]));
    } else {
      throw std::runtime_error("usage: bounds [--short] [--only PART]");
    }
  }
  return options;
}

std::string judge(const BoundsCase& tested, const BoundsResult& result) {
  std::string faults;
  if (result.status != tested.statusWanted) faults += " status";
  if (!result.reason.starts_with(tested.reasonWanted)) faults += " reason";
  if (result.nextStatus != "200") faults += " next";
  if (kMeasures && result.peakBytes > tested.peakBytesMax) faults += " peak";
  if (kMeasures && result.usedBytes > kRestBytesMax) faults += " used";
  // One large block goes back to the system at once.
  if (kMeasures && !tested.fillsQueue && result.keptBytes > kRestBytesMax) faults += " kept";
  return faults;
}

// Runs the case in a process of its own. Returns whether all was as it should be.
bool run(const BoundsCase& tested, const Options& options, const char* program) {
  const test_support::ScriptedServer server(tested.script);
  const test_support::TempDir folder;
  test_support::Process::Options processOptions;
  processOptions.outputFile = folder.file("result");
  processOptions.errorFile = folder.file("errors");
  std::vector<std::string> arguments = {program, "--child", tested.name, "--port",
                                        std::to_string(server.port())};
  if (options.isShort) arguments.emplace_back("--short");
  int exitCode = -1;
  {
    test_support::Process process(arguments, processOptions);
    siginfo_t end{};
    ::waitid(P_PID, static_cast<id_t>(process.id()), &end, WEXITED | WNOWAIT);  // without a limit
    exitCode = process.wait();
  }
  if (exitCode != 0) {
    std::printf("%-40s ended with %d: %s\n", tested.name.c_str(), exitCode,
                test_support::readFile(processOptions.errorFile).c_str());
    return false;
  }
  const auto result = BoundsResult::parse(test_support::readFile(processOptions.outputFile));
  const std::string faults = judge(tested, result);
  std::printf(
      "%-40s %8.1f %8.1f %8.1f   %s %s; next %s%s%s\n", tested.name.c_str(),
      static_cast<double>(result.peakBytes) / kMiB, static_cast<double>(result.keptBytes) / kMiB,
      static_cast<double>(result.usedBytes) / kMiB, result.status.c_str(), result.reason.c_str(),
      result.nextStatus.c_str(), faults.empty() ? "" : "   WRONG:", faults.c_str());
  std::fflush(stdout);
  return faults.empty();
}

int perform(const Options& options, const char* program) {
  const BoundsScale scale = options.isShort ? BoundsScale::small() : BoundsScale::large();
  const std::vector<BoundsCase> cases = bench::boundsCases(scale, kMeasures);
  bool good = true;
  if (options.child.empty()) std::printf("%-40s %8s %8s %8s\n", "MiB", "peak", "kept", "used");
  for (const BoundsCase& tested : cases) {
    if (!options.child.empty()) {
      if (tested.name != options.child) continue;
      const std::uint64_t line = tested.chainhostLineBytes;
      const std::string text = (line > 0 ? bench::measureChainhost(line, options.port)
                                         : bench::measureCase(tested, scale, options.port))
                                   .text();
      return std::fputs(text.c_str(), stdout) < 0 ? 1 : 0;
    }
    if (tested.name.find(options.only) != std::string::npos) {
      good = run(tested, options, program) && good;
    }
  }
  return good && options.child.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** values) {
  try {
    return perform(optionsOf(count, values), values[0]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bounds: %s\n", failure.what());
    return 2;
  }
}
