// model/get.h : typed access to values, and their text for conversions.
//
// Role:      get<T> gives a value of exactly one kind, without any conversion; parse<T> converts
//            the value's text.
// Threads:   one thread at a time for one value.
// Ownership: references and texts point into the value, which keeps what it owns.
// Errors:    get: std::runtime_error "Get from empty", or, after one line on standard error,
//            "Incorrect type in get (you asked for <kind> but it's actually <kind>)".
//            parseText: "Trying to parse from empty", "Trying to parse from incorrect type
//            (actually <kind>)". parse: boost::bad_lexical_cast.
#pragma once

#include <boost/lexical_cast.hpp>

#include <cstdint>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "model/buffer.h"
#include "model/custom.h"
#include "model/data.h"
#include "model/list.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

/// Writes the diagnostic line and throws; or throws "Get from empty".
[[noreturn]] void refuseGet(const std::type_info& type, std::int32_t askedTag,
                            std::int32_t actualTag);

/// Gives the payload of a value as T: bool, std::int64_t, double, orvex::decimal64 and const char*
/// by value, list_t, map_t, buffer_t and custom_t by reference.
template <typename T>
class GetVisitor {
  template <typename U>
  static constexpr bool is = std::is_same_v<T, U>;
  static constexpr bool kIsContainer = is<list_t> || is<map_t> || is<buffer_t> || is<custom_t>;
  static_assert(kIsContainer || is<bool> || is<std::int64_t> || is<double> ||
                is<orvex::decimal64> || is<const char*>);

 public:
  using Result = std::conditional_t<kIsContainer, T&, T>;
  using ConstResult = std::conditional_t<kIsContainer, const T&, T>;

  Result operator()(data_t& value) const {
    check(value);
    return payload<Result, T>(value.value_);
  }
  ConstResult operator()(const data_t& value) const {
    check(value);
    return payload<ConstResult, const T>(value.value_);
  }

 private:
  static constexpr std::int32_t kTag = is<bool>               ? KEL_TAG_BOOLEAN
                                       : is<double>           ? KEL_TAG_DOUBLE
                                       : is<std::int64_t>     ? KEL_TAG_INTEGER
                                       : is<orvex::decimal64> ? KEL_TAG_DECIMAL
                                       : is<const char*>      ? KEL_TAG_STRING
                                       : is<list_t>           ? KEL_TAG_LIST
                                       : is<map_t>            ? KEL_TAG_MAP
                                       : is<buffer_t>         ? KEL_TAG_BUFFER
                                                              : KEL_TAG_CUSTOM;

  static void check(const data_t& value) {
    const bool accepted = is<const char*> ? value.isString() : value.tag() == kTag;
    if (!accepted) refuseGet(typeid(T), kTag, value.tag());
  }

  template <typename R, typename Container, typename Record>
  static R payload(Record& record) {
    if constexpr (kIsContainer) {
      return reinterpret_cast<Container&>(record.payload);  // the block pointer that a handle is
    } else if constexpr (is<bool>) {
      return record.payload.boolean != 0;
    } else if constexpr (is<double>) {
      return record.payload.number;
    } else if constexpr (is<std::int64_t>) {
      return record.payload.integer;
    } else if constexpr (is<orvex::decimal64>) {
      return orvex::decimal64::fromBits(record.payload.bits);
    } else {
      return record.payload.string;
    }
  }
};

template <typename T>
typename GetVisitor<T>::Result get(data_t& value) {
  return GetVisitor<T>()(value);
}

template <typename T>
typename GetVisitor<T>::ConstResult get(const data_t& value) {
  return GetVisitor<T>()(value);
}

/// The text from which a value is converted: "true" or "false", "%g" of a double, decimal digits of
/// an integer, the characters of a string. The point of a double is a full stop in every locale.
std::string parseText(const data_t& value);

/// The value's text as T, converted by boost::lexical_cast: a bool is "0" or "1", and the process's
/// C++ locale decides on points and groups of digits.
template <typename T>
T parse(const data_t& value) {
  return boost::lexical_cast<T>(parseText(value));
}

}  // namespace com::corvane::connectivity10_15_0
