// Runs a fuzz target over all files of the folders that are named: the part of a fuzzer that a
// test needs.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"

namespace {

std::vector<std::filesystem::path> filesOf(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

int replay(int count, char** folders) {
  std::size_t replayed = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto& path : filesOf(folders[i])) {
      // Known before the target ends the program.
      std::printf("%s\n", path.c_str());
      std::fflush(stdout);
      const std::string input = contentOf(path);
      LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(input.data()), input.size());
      ++replayed;
    }
  }
  std::printf("inputs replayed: %zu\n", replayed);
  return replayed == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return replay(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "fuzz: %s\n", failure.what());
    return 1;
  }
}
