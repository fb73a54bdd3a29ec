#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace test_support {
namespace {

TEST(TempDirTest, GivesBackExactlyWhatWasWritten) {
  TempDir dir;
  const std::string content("a\0b\r\n", 5);

  const std::string path = dir.write("data", content);

  EXPECT_EQ(path, dir.file("data"));
  EXPECT_EQ(readFile(path), content);
}

TEST(TempDirTest, RemovesItselfWithAllItHolds) {
  std::filesystem::path path;
  {
    TempDir dir;
    path = dir.path();
    std::filesystem::create_directory(path / "sub");
    dir.write("sub/file", "x");
    ASSERT_TRUE(std::filesystem::exists(path / "sub" / "file"));
  }

  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(TempDirTest, EachHasAPathOfItsOwn) {
  TempDir one;
  TempDir other;

  EXPECT_NE(one.path(), other.path());
}

TEST(TempDirTest, RefusesToReadAFileThatIsMissing) {
  TempDir dir;

  EXPECT_THROW(readFile(dir.file("missing")), std::runtime_error);
}

}  // namespace
}  // namespace test_support
