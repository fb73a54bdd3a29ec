#include "config/converters.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "model/get.h"

namespace com::corvane::connectivity10_15_0 {

namespace {

// Letters outside ASCII stay, whatever the locale.
std::string lowered(std::string text) {
  for (char& letter : text) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return text;
}

std::int64_t toInteger(const data_t& value) {
  if (!value.isString()) return get<std::int64_t>(value);
  const char* first = get<const char*>(value);
  const char* const end = first + std::strlen(first);
  if (first[0] == '+' && first[1] != '-') ++first;  // from_chars knows the minus sign only
  std::int64_t result = 0;
  const auto [stop, failure] = std::from_chars(first, end, result);
  if (failure != std::errc() || stop != end) throw std::runtime_error("not an integer");
  return result;
}

bool toBoolean(const data_t& value) {
  if (value.tag() == KEL_TAG_BOOLEAN) return get<bool>(value);
  const std::string text = value.isString() ? lowered(get<const char*>(value)) : "";
  if (text != "true" && text != "false") throw std::runtime_error("not a bool");
  return text == "true";
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i != 0) text += i + 1 == names.size() ? " or " : ", ";
    text += names[i];
  }
  return text;
}

}  // namespace

Converter<std::string> stringConverter() {
  return {[](const data_t& value) { return std::string(get<const char*>(value)); }, "a string"};
}

Converter<std::int64_t> integerConverter() { return {toInteger, "an integer"}; }

Converter<bool> booleanConverter() { return {toBoolean, "a boolean"}; }

Converter<std::int64_t> integerAtLeast(std::int64_t minimum) {
  const auto convert = [minimum](const data_t& value) {
    const std::int64_t result = toInteger(value);
    if (result < minimum) throw std::runtime_error("not in the range");
    return result;
  };
  return {convert, "at least " + std::to_string(minimum)};
}

bool isPort(std::int64_t value) { return value >= 1 && value <= 65535; }

Converter<std::int64_t> portConverter() {
  const auto convert = [](const data_t& value) {
    const std::int64_t result = toInteger(value);
    if (!isPort(result)) throw std::runtime_error("not in the range");
    return result;
  };
  return {convert, "between 1 and 65535"};
}

Converter<std::string> enumerationConverter(const std::vector<std::string>& names) {
  std::vector<std::string> allowed;
  for (const std::string& name : names) allowed.push_back(lowered(name));
  const auto convert = [allowed](const data_t& value) {
    std::string text = lowered(get<const char*>(value));
    if (std::find(allowed.begin(), allowed.end(), text) == allowed.end()) {
      throw std::runtime_error("not in the enumeration");
    }
    return text;
  };
  return {convert, joined(names)};
}

}  // namespace com::corvane::connectivity10_15_0
