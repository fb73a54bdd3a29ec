#include "support/temp_dir.h"

#include <stdlib.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace test_support {

TempDir::TempDir() {
  std::string pattern = std::filesystem::temp_directory_path() / "httpclient-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot create " + pattern);
  }
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::write(std::string_view name, std::string_view content) const {
  std::string path = file(name);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (!out) {
    throw std::runtime_error("cannot write " + path);
  }
  return path;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace test_support
