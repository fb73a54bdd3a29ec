#include "plugin/status_item.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "kel/host_services.h"

namespace com::corvane::connectivity10_15_0 {

using orvex::AutoMutex;

namespace {

constexpr std::size_t kNumberBytes = 25;  // the longest number has 20

// Showing a number, or any other short text, needs no memory then, and so cannot fail.
std::string withRoomForNumbers(std::string text) {
  text.reserve(kNumberBytes);
  return text;
}

// Calls the host, which may be written in a language with exceptions: a display that fails must
// not cost the element what it was doing.
template <typename Call>
void callHost(const Call& call) noexcept {
  try {
    call();
  } catch (...) {
    return;  // not examined, as the calls' other failures
  }
}

}  // namespace

StatusItem::StatusItem(void* statusHandle, std::string key, std::string initial,
                       std::int64_t integer)
    : integer_(integer),
      key_(std::move(key)),
      value_(withRoomForNumbers(std::move(initial))),
      statusHandle_(statusHandle),
      itemHandle_(kel_create_user_status_item(statusHandle_, key_.c_str(), value_.c_str())) {
  if (itemHandle_ == nullptr) {
    throw std::runtime_error(
        "Failed to create status item '" + key_ +
        "' (ensure the key is unique and that this plug-in has not been shutdown already)");
  }
}

StatusItem::~StatusItem() {
  callHost([this] { kel_delete_user_status_item(statusHandle_, itemHandle_); });
  itemHandle_ = nullptr;
}

void StatusItem::set(std::string_view text) {
  AutoMutex lock(mutex_);
  setUnlocked(text);
}

void StatusItem::setUnlocked(std::string_view text) {
  shown_.store(kNoNumber, std::memory_order_relaxed);
  if (text == value_) return;
  value_ = text;
  callHost([this] { kel_set_user_status_item(itemHandle_, value_.c_str()); });
}

void StatusItem::set(std::int64_t value) noexcept {
  if (shows(value)) return;
  AutoMutex lock(mutex_);
  integer_ = value;
  publishInteger();
}

void StatusItem::add(std::int64_t delta) noexcept {
  AutoMutex lock(mutex_);
  integer_ += delta;
  publishInteger();
}

void StatusItem::publishInteger() noexcept {
  std::array<char, kNumberBytes> digits;
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), integer_);
  setUnlocked(std::string_view(digits.data(), written.ptr));
  shown_.store(integer_, std::memory_order_relaxed);
}

}  // namespace com::corvane::connectivity10_15_0
