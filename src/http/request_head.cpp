#include "http/request_head.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "http/ascii.h"

namespace com::corvane::connectivity::plugins {

void RequestHead::begin(std::string_view method, std::string_view target) {
  method_ = method;
  targetPrefix_ = {};
  target_ = target;
  fields_.clear();
  if (!kept_.empty()) kept_.clear();
}

std::size_t RequestHead::indexOf(std::string_view name) const {
  const auto found = std::find_if(fields_.begin(), fields_.end(), [&](const Field& field) {
    return ascii::equalsIgnoringCase(field.name, name);
  });
  return static_cast<std::size_t>(found - fields_.begin());
}

void RequestHead::add(std::string_view name, std::string_view value) {
  std::size_t index = indexOf(name);
  while (index < fields_.size() && ascii::equalsIgnoringCase(fields_[index].name, name)) ++index;
  fields_.insert(fields_.begin() + static_cast<std::ptrdiff_t>(index), {name, value});
}

void RequestHead::set(std::string_view name, std::string_view value) {
  const std::size_t index = indexOf(name);
  if (index == fields_.size()) {
    append(name, value);
  } else {
    fields_[index].value = value;
  }
}

void RequestHead::appendTo(std::string& bytes) const {
  constexpr std::string_view kVersion = " HTTP/1.1\r\n";
  constexpr std::string_view kSeparator = ": ";
  constexpr std::string_view kLineEnd = "\r\n";
  std::size_t length = method_.size() + 1 + targetPrefix_.size() + target_.size() +
                       kVersion.size() + kLineEnd.size();
  for (const Field& field : fields_) {
    length += field.name.size() + kSeparator.size() + field.value.size() + kLineEnd.size();
  }
  const std::size_t begin = bytes.size();
  bytes.resize(begin + length);
  char* to = bytes.data() + begin;
  const auto put = [&to](std::string_view text) {
    if (!text.empty()) std::memcpy(to, text.data(), text.size());  // an empty one may be null
    to += text.size();
  };
  put(method_);
  put(" ");
  put(targetPrefix_);
  put(target_);
  put(kVersion);
  for (const Field& field : fields_) {
    put(field.name);
    put(kSeparator);
    put(field.value);
    put(kLineEnd);
  }
  put(kLineEnd);
}

}  // namespace com::corvane::connectivity::plugins
