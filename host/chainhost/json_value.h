// chainhost/json_value.h : turns JSON into host values.
//
// Role:      one parser for message lines and for configuration files. null, booleans, texts,
//            arrays and objects become the kinds of these names; a number without fraction and
//            exponent that fits in 64 bits an integer, any other number a double. An object with
//            the only member "$decimal" or "$base64" becomes a decimal or a buffer.
// Threads:   caller locks.
// Errors:    JsonError with the texts below; std::bad_alloc.
// Limits:    1,024 levels of nesting, 4 GiB a document.
#pragma once

#include <simdjson.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "chainhost/host_values.h"

namespace chainhost {

// What is wrong with a document or a value; the text is made for people.
class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The name of a value in its document, for error texts: a chain of frames on the caller's stack.
struct JsonPlace {
  const JsonPlace* parent;
  std::string_view name;

  // The names from the outermost on, joined by ".".
  std::string path() const;
};

class JsonParser {
 public:
  // Bytes behind a text that must be readable; what they hold does not matter.
  static constexpr std::size_t kPaddingBytes = simdjson::SIMDJSON_PADDING;

  JsonParser();

  // Parses a text that kPaddingBytes readable bytes follow. The result is valid until the next
  // parse. Errors: "invalid JSON: " and the reason.
  simdjson::dom::element parse(std::string_view text);

  // Parses any text.
  simdjson::dom::element parseUnpadded(std::string_view text);

 private:
  simdjson::dom::parser parser_;
  std::string scratch_;
};

// The value of an element. Errors, each behind "PATH: ":
//   a string must not contain U+0000          (the boundary's texts end there)
//   the key "KEY" must not contain U+0000
//   the key "KEY" occurs twice
//   "$decimal" must be a string               (and the same for "$base64")
//   "TEXT" is not a decimal number of at most 16 digits
//   "$base64" holds no base64 text
Value toValue(const simdjson::dom::element& element, const JsonPlace& place);

// The members of an object, "$decimal" and "$base64" taken as ordinary names. Errors as toValue.
Map toMap(const simdjson::dom::object& object, const JsonPlace& place);

// True for the names that make an object's only member stand for another kind of value.
bool isSpecialName(std::string_view name) noexcept;

// The decimal or buffer that a special member stands for; no text: its value is of another kind.
// REQUIRES: isSpecialName(name). Errors as toValue.
Value specialValue(std::string_view name, std::optional<std::string_view> text,
                   const JsonPlace& place);

}  // namespace chainhost
