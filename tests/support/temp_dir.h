// support/temp_dir.h : a directory of its own for one test, removed with all it holds.
//
// Threads:   one thread only.
// Errors:    std::runtime_error or std::filesystem::filesystem_error when the system refuses.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// The path of an entry directly in the directory; nothing is created.
  std::string file(std::string_view name) const { return path_ / name; }

  /// Creates or replaces a file; result: its path.
  std::string write(std::string_view name, std::string_view content) const;

 private:
  std::filesystem::path path_;
};

/// The whole content of a file.
std::string readFile(const std::filesystem::path& path);

}  // namespace test_support
