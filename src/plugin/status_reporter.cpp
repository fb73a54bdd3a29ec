#include "plugin/status_reporter.h"

#include <utility>

#include "kel/host_services.h"

namespace com::corvane::connectivity10_15_0 {

std::unique_ptr<StatusItem> StatusReporter::createItem(std::string key, std::string initial) {
  return std::make_unique<StatusItem>(statusHandle_, std::move(key), std::move(initial));
}

std::unique_ptr<StatusItem> StatusReporter::createIntegerItem(std::string key,
                                                              std::int64_t initial) {
  return std::make_unique<StatusItem>(statusHandle_, std::move(key), std::to_string(initial),
                                      initial);
}

void StatusReporter::publishStatusMap() {
  if (!statusMap_.empty()) kel_set_user_status_map(statusHandle_, statusMap_.raw());
}

}  // namespace com::corvane::connectivity10_15_0
