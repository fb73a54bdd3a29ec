// The manual's table of keys and the code's say the same.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "config/settings.h"

namespace com::corvane::connectivity::plugins {
namespace {

std::string trimmed(const std::string& text) {
  const auto begin = text.find_first_not_of(" `");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" `") - begin + 1);
}

// Key, type, default and alternative of each line of the table.
std::vector<std::vector<std::string>> documentedKeys() {
  std::vector<std::vector<std::string>> keys;
  std::ifstream file(MANUAL_PAGE);
  bool inTable = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| Key | Type |")) inTable = true;
    if (line.empty()) inTable = false;
    if (!inTable || !line.starts_with("| `")) continue;
    std::istringstream cells(line.substr(1));
    std::vector<std::string> key;
    for (std::string cell; key.size() < 4 && std::getline(cells, cell, '|');) {
      key.push_back(trimmed(cell));
    }
    keys.push_back(key);
  }
  return keys;
}

TEST(ManualTableTest, ListsEveryKeyAsTheCodeReadsIt) {
  std::vector<std::vector<std::string>> read;
  for (const SettingKey& key : settingKeys()) {
    read.push_back({key.path, key.type, key.defaultValue, key.alternative});
  }

  EXPECT_EQ(documentedKeys(), read);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
