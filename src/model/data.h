// model/data.h : the tagged value that plugin and host share.
//
// Role:      16 bytes, byte for byte the host's kel_data, that own what they point to.
// Threads:   one thread at a time.
// Ownership: owns the payload of kinds 5 to 9, freed through the host's functions; a borrowed
//            string (kind 10) is never freed. Move-only: copies are made by name.
// Errors:    std::runtime_error "Cannot use a null char* as a data_t value (consider using an empty
//            data_t() instead)", "Cannot use custom values as a key", and the iterator texts of
//            map_t and list_t while hashing or comparing.
// Invariants: standard layout, no virtual functions; moving never allocates.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "kel/types.h"
#include "runtime/decimal64.h"

namespace com::corvane::connectivity10_15_0 {

class map_t;
class list_t;
class buffer_t;
class custom_t;

/// The seed of all hashes that place map entries.
inline constexpr std::uint64_t kMapSeed = 0x243FCAF1;

/// "empty", "boolean", "double", "integer", "decimal", "string", "list", "map", "buffer", "custom";
/// "Unknown" for any other tag.
const char* typeName(std::int32_t tag);

class data_t {
 public:
  data_t() noexcept : value_{} {}

  template <std::same_as<bool> T>
  data_t(T value) noexcept : data_t() {  // the other seven payload bytes are zero, not left over
    value_.payload.boolean = value ? 1 : 0;
    value_.tag = KEL_TAG_BOOLEAN;
  }
  template <std::integral T>
  requires(!std::same_as<T, bool>) data_t(T value)
  noexcept : data_t() {
    value_.payload.integer = static_cast<std::int64_t>(value);
    value_.tag = KEL_TAG_INTEGER;
  }
  template <std::floating_point T>
  data_t(T value) noexcept : data_t() {
    value_.payload.number = static_cast<double>(value);
    value_.tag = KEL_TAG_DOUBLE;
  }
  data_t(orvex::decimal64 value) noexcept;

  /// An owned copy of the text, up to its NUL. Null is refused.
  data_t(const char* text);
  data_t(const std::string& text) : data_t(text.c_str()) {}

  /// Takes the container's block over; the container is empty afterwards.
  data_t(map_t&& map) noexcept;
  data_t(list_t&& list) noexcept;
  data_t(buffer_t&& buffer) noexcept;
  data_t(custom_t&& custom) noexcept;

  data_t(data_t&& other) noexcept : value_(other.release()) {}
  data_t& operator=(data_t&& other) noexcept {
    const kel_data taken = other.release();  // first: `other` may be this value
    if (ownsPayload()) free(value_);
    value_ = taken;
    return *this;
  }
  data_t(const data_t&) = delete;
  data_t& operator=(const data_t&) = delete;
  ~data_t() {
    if (ownsPayload()) free(value_);
  }

  /// A deep copy, made by the host. A borrowed string becomes an owned one.
  data_t copy() const;

  /// Takes a record over that the host gave away.
  static data_t adopt(kel_data value) noexcept {
    data_t result;
    result.value_ = value;
    return result;
  }
  /// Gives the record away; this is empty afterwards.
  kel_data release() noexcept {
    const kel_data value = value_;
    value_ = kel_data{};
    return value;
  }
  /// The record, which stays this value's.
  const kel_data& raw() const noexcept { return value_; }

  std::int32_t tag() const noexcept { return value_.tag; }
  const char* typeName() const { return connectivity10_15_0::typeName(value_.tag); }
  bool isEmpty() const noexcept { return value_.tag == KEL_TAG_EMPTY; }
  /// True for an owned and for a borrowed string.
  bool isString() const noexcept {
    return value_.tag == KEL_TAG_STRING || value_.tag == KEL_TAG_BORROWED_STRING;
  }

  /// The hash by which maps place keys and by which keys choose workers. The seed matters for
  /// scalars only.
  std::uint64_t hash(std::uint64_t seed = kMapSeed) const;

  /// Kinds differ: unequal, an owned and a borrowed string included. NaN and custom values are
  /// unequal to everything, themselves included; 0.0 and -0.0 are equal.
  bool operator==(const data_t& other) const;

 private:
  template <typename T>
  friend class GetVisitor;

  // The kinds from "string" to "custom".
  bool ownsPayload() const noexcept {
    return value_.tag >= KEL_TAG_STRING && value_.tag <= KEL_TAG_CUSTOM;
  }
  static void free(kel_data& value) noexcept;

  kel_data value_;
};

static_assert(sizeof(data_t) == sizeof(kel_data) && std::is_standard_layout_v<data_t>);

}  // namespace com::corvane::connectivity10_15_0
