#include "http/request_head.h"

#include <algorithm>
#include <cstddef>

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
  const auto append = [&bytes](auto... texts) { (bytes.append(texts), ...); };
  append(method_, " ", targetPrefix_, target_, " HTTP/1.1\r\n");
  for (const Field& field : fields_) append(field.name, ": ", field.value, "\r\n");
  append("\r\n");
}

}  // namespace com::corvane::connectivity::plugins
