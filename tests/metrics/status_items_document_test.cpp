// The operators' document names the items that the code makes, in their order, with their first
// values.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "metrics/transport_metrics.h"
#include "support/fake_host.h"

namespace com::corvane::connectivity::plugins {
namespace {

using Items = std::vector<std::pair<std::string, std::string>>;  // suffix and first value

std::string trimmed(const std::string& text) {
  const auto begin = text.find_first_not_of(" `");
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(" `") - begin + 1);
}

Items documentedItems() {
  Items items;
  std::ifstream file(STATUS_ITEMS_FILE);
  bool inTable = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("| Item | Initial value |")) inTable = true;
    if (line.empty()) inTable = false;
    if (!inTable || !line.starts_with("| `")) continue;
    std::istringstream cells(line.substr(1));
    std::string item;
    std::string value;
    std::getline(cells, item, '|');
    std::getline(cells, value, '|');
    items.emplace_back(trimmed(item), trimmed(value));
  }
  return items;
}

TEST(StatusItemsDocumentTest, ListsEveryItemAsTheCodeMakesIt) {
  const test_support::FakeHost host;
  connectivity10_15_0::StatusReporter reporter(nullptr);
  const TransportMetrics metrics(reporter, "chain", "plugin", 1);
  const std::string prefix = "chain.plugin";
  Items made;
  for (const auto& call : host.statusCalls()) {
    ASSERT_TRUE(call.key.starts_with(prefix)) << call.key;
    const std::string suffix = call.key.substr(prefix.size());
    made.emplace_back(suffix, suffix == ".KPIs" ? "the list" : call.value);
  }

  EXPECT_EQ(documentedItems(), made);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
