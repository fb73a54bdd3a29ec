#include "bench/process_figures.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {
namespace {

std::uint64_t entriesOf(const char* folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<std::uint64_t>(std::distance(begin(all), end(all)));
}

}  // namespace

ProcessFigures ProcessFigures::now() {
  ProcessFigures figures;
  std::uint64_t virtualPages = 0;
  std::uint64_t residentPages = 0;
  std::ifstream memory("/proc/self/statm");
  if (!(memory >> virtualPages >> residentPages)) throw std::runtime_error("no /proc/self/statm");
  memory.close();
  figures.residentBytes = residentPages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
  figures.threads = entriesOf("/proc/self/task");
  figures.descriptors = entriesOf("/proc/self/fd") - 1;  // without the one that reads them
  return figures;
}

}  // namespace bench
