// config/converters.h : from a configuration value to a typed one, with the words for a refusal.
//
// Errors: convert throws some std::exception for what it does not accept. Its text is for nobody:
//         the extraction words the refusal with the description.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/data.h"

namespace com::corvane::connectivity10_15_0 {

template <typename T>
struct Converter {
  std::function<T(const data_t&)> convert;
  std::string description;  // ends the sentence "... must be"
};

/// A string value. "a string"
Converter<std::string> stringConverter();

/// An integer, or a string of decimal digits with an optional sign that fits. "an integer"
Converter<std::int64_t> integerConverter();

/// A boolean, or the string "true" or "false" in any letter case. "a boolean"
Converter<bool> booleanConverter();

/// As integerConverter, not below `minimum`. "at least 1"
Converter<std::int64_t> integerAtLeast(std::int64_t minimum);

/// As integerConverter, a TCP port. "between 1 and 65535"
Converter<std::int64_t> portConverter();

/// Whether a number can be a TCP port: 1 to 65535.
bool isPort(std::int64_t value);

/// A string that equals one of the names in any letter case; gives it in lower case. "a, b or c"
Converter<std::string> enumerationConverter(const std::vector<std::string>& names);

}  // namespace com::corvane::connectivity10_15_0
