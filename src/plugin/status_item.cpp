#include "plugin/status_item.h"

#include <array>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "kel/host_services.h"

namespace com::corvane::connectivity10_15_0 {

using orvex::AutoMutex;

StatusItem::StatusItem(void* statusHandle, std::string key, std::string initial,
                       std::int64_t integer)
    : integer_(integer),
      key_(std::move(key)),
      value_(std::move(initial)),
      statusHandle_(statusHandle),
      itemHandle_(kel_create_user_status_item(statusHandle_, key_.c_str(), value_.c_str())) {
  if (itemHandle_ == nullptr) {
    throw std::runtime_error(
        "Failed to create status item '" + key_ +
        "' (ensure the key is unique and that this plug-in has not been shutdown already)");
  }
}

StatusItem::~StatusItem() {
  kel_delete_user_status_item(statusHandle_, itemHandle_);
  itemHandle_ = nullptr;
}

void StatusItem::set(std::string_view text) {
  AutoMutex lock(mutex_);
  setUnlocked(text);
}

void StatusItem::setUnlocked(std::string_view text) {
  if (text == value_) return;
  value_ = text;
  kel_set_user_status_item(itemHandle_, value_.c_str());
}

void StatusItem::set(std::int64_t value) {
  AutoMutex lock(mutex_);
  integer_ = value;
  publishInteger();
}

void StatusItem::add(std::int64_t delta) {
  AutoMutex lock(mutex_);
  integer_ += delta;
  publishInteger();
}

void StatusItem::publishInteger() {
  std::array<char, 25> digits;  // the longest number has 20 characters
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), integer_);
  setUnlocked(std::string_view(digits.data(), written.ptr));
}

}  // namespace com::corvane::connectivity10_15_0
