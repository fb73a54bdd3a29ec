#include "model/get.h"

#include <boost/core/demangle.hpp>

#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace com::corvane::connectivity10_15_0 {

void refuseGet(const std::type_info& type, std::int32_t askedTag, std::int32_t actualTag) {
  if (actualTag == KEL_TAG_EMPTY) throw std::runtime_error("Get from empty");
  const std::string name = boost::core::demangle(type.name());
  std::fprintf(stderr, "GetVisitor<%s>.operator()(%s)\n", name.c_str(), name.c_str());
  throw std::runtime_error(std::string("Incorrect type in get (you asked for ") +
                           typeName(askedTag) + " but it's actually " + typeName(actualTag) + ")");
}

std::string parseText(const data_t& value) {
  switch (value.tag()) {
    case KEL_TAG_BOOLEAN:
      return get<bool>(value) ? "true" : "false";
    case KEL_TAG_DOUBLE: {
      // What "%g" prints, but for the locale: at most 6 significant digits.
      char text[50];
      const auto result = std::to_chars(text, text + sizeof(text), get<double>(value),
                                        std::chars_format::general, 6);
      return {text, result.ptr};
    }
    case KEL_TAG_INTEGER:
      return std::to_string(get<std::int64_t>(value));
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      return get<const char*>(value);
    case KEL_TAG_DECIMAL:
    case KEL_TAG_LIST:
    case KEL_TAG_MAP:
    case KEL_TAG_BUFFER:
    case KEL_TAG_CUSTOM:
      throw std::runtime_error(std::string("Trying to parse from incorrect type (actually ") +
                               value.typeName() + ")");
    default:
      throw std::runtime_error("Trying to parse from empty");
  }
}

}  // namespace com::corvane::connectivity10_15_0
