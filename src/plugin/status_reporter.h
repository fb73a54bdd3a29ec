// plugin/status_reporter.h : an element's way to the host's status display.
//
// Role:      creates status items, and carries the map of texts that the element leaves behind.
// Threads:   creating items: any thread. The map: one thread at a time.
// Ownership: owned by the element; the items belong to whoever asked for them. The status handle is
//            the host's.
// Errors:    creating an item throws std::runtime_error, see StatusItem.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/map.h"
#include "plugin/status_item.h"

namespace com::corvane::connectivity10_15_0 {

class StatusReporter {
 public:
  explicit StatusReporter(void* statusHandle) : statusHandle_(statusHandle) {}
  StatusReporter(const StatusReporter&) = delete;
  StatusReporter& operator=(const StatusReporter&) = delete;

  /// A text item; `key` is its full name.
  std::unique_ptr<StatusItem> createItem(std::string key, std::string initial);

  /// An item that carries a number and shows its decimal text.
  std::unique_ptr<StatusItem> createIntegerItem(std::string key, std::int64_t initial = 0);

  /// Texts that reach the host all at once when the element is destroyed; empty at first.
  map_t& statusMap() { return statusMap_; }

  /// Sends the map to the host unless it is empty.
  void publishStatusMap();

 private:
  void* const statusHandle_;
  map_t statusMap_;
};

}  // namespace com::corvane::connectivity10_15_0
