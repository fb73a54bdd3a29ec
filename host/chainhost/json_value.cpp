#include "chainhost/json_value.h"

#include <charconv>
#include <new>
#include <utility>
#include <vector>

#include "chainhost/base64.h"
#include "chainhost/quotes.h"
#include "runtime/decimal64.h"

namespace chainhost {

namespace {

constexpr std::string_view kDecimalName = "$decimal";
constexpr std::string_view kBase64Name = "$base64";

[[noreturn]] void refuse(const JsonPlace& place, const std::string& reason) {
  throw JsonError(place.path() + ": " + reason);
}

// The parser's reasons in words for whoever wrote the document.
const char* reasonText(simdjson::error_code error) {
  switch (error) {
    case simdjson::EMPTY:
      return "there is no value";
    case simdjson::TAPE_ERROR:
      return "a comma, a bracket or a value is missing or misplaced";
    case simdjson::UNCLOSED_STRING:
      return "a string is not closed";
    case simdjson::STRING_ERROR:
      return "a string has a bad escape";
    case simdjson::UNESCAPED_CHARS:
      return "a string has a control character that is not escaped";
    case simdjson::UTF8_ERROR:
      return "it is not UTF-8";
    case simdjson::NUMBER_ERROR:
      return "a number is malformed or too large";
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
    case simdjson::N_ATOM_ERROR:
      return "a word is none of true, false and null";
    case simdjson::DEPTH_ERROR:
      return "it is nested too deeply";
    case simdjson::CAPACITY:
      return "it is longer than 4 GiB";
    default:
      return simdjson::error_message(error);
  }
}

bool isNumberCharacter(char character) {
  return (character >= '0' && character <= '9') || character == '-' || character == '+' ||
         character == '.' || character == 'e' || character == 'E';
}

bool exceedsInteger(std::string_view number) {
  std::int64_t value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  return result.ec == std::errc::result_out_of_range && result.ptr == number.end();
}

// The text with ".0" behind each integer that does not fit in 64 bits: the parser refuses these
// as integers, but reads them as doubles.
std::string withLargeIntegersAsDoubles(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 16);
  for (std::size_t index = 0; index < text.size();) {
    std::size_t end = index + 1;
    if (text[index] == '"') {
      while (end < text.size() && text[end] != '"') {
        end += text[end] == '\\' ? 2U : 1U;
      }
      end = std::min(end + 1, text.size());
    } else if (isNumberCharacter(text[index])) {
      while (end < text.size() && isNumberCharacter(text[end])) {
        ++end;
      }
    }
    const std::string_view token = text.substr(index, end - index);
    out += token;
    if (isNumberCharacter(token.front()) && exceedsInteger(token)) {
      out += ".0";
    }
    index = end;
  }
  return out;
}

const char* textOf(const simdjson::dom::element& element, const JsonPlace& place) {
  const char* const text = element.get_c_str().value_unsafe();
  if (std::string_view(text).size() != element.get_string_length().value_unsafe()) {
    refuse(place, "a string must not contain U+0000");
  }
  return text;
}

Value toListOrScalar(const simdjson::dom::element& element, const JsonPlace& place) {
  using Type = simdjson::dom::element_type;
  switch (element.type()) {
    case Type::BOOL:
      return Value::boolean(element.get_bool().value_unsafe());
    case Type::INT64:
      return Value::integer(element.get_int64().value_unsafe());
    case Type::UINT64:  // above what a signed integer holds
      return Value::number(static_cast<double>(element.get_uint64().value_unsafe()));
    case Type::DOUBLE:
      return Value::number(element.get_double().value_unsafe());
    case Type::STRING:
      return Value::text(textOf(element, place));
    case Type::ARRAY: {
      std::vector<Value> elements;
      const simdjson::dom::array members = element.get_array().value_unsafe();
      for (const auto member : members) {
        elements.push_back(toValue(member, place));
      }
      return Value::list(elements);
    }
    default:
      return Value();
  }
}

}  // namespace

std::string JsonPlace::path() const {
  std::string path = parent == nullptr ? std::string() : parent->path() + ".";
  path += name;
  return path;
}

// The library chooses its code at its first use, and ends the process when it has no memory then.
JsonParser::JsonParser() { simdjson::get_active_implementation(); }

simdjson::dom::element JsonParser::parse(std::string_view text) {
  simdjson::dom::element root;
  simdjson::error_code error = parser_.parse(text.data(), text.size(), false).get(root);
  if (error == simdjson::NUMBER_ERROR) {
    scratch_ = withLargeIntegersAsDoubles(text);
    scratch_.reserve(scratch_.size() + kPaddingBytes);
    error = parser_.parse(scratch_.data(), scratch_.size(), false).get(root);
  }
  if (error == simdjson::MEMALLOC) {
    throw std::bad_alloc();
  }
  if (error != simdjson::SUCCESS) {
    throw JsonError(std::string("invalid JSON: ") + reasonText(error));
  }
  return root;
}

simdjson::dom::element JsonParser::parseUnpadded(std::string_view text) {
  const simdjson::padded_string padded(text);
  return parse(padded);
}

Value toValue(const simdjson::dom::element& element, const JsonPlace& place) {
  if (!element.is_object()) {
    return toListOrScalar(element, place);
  }
  const simdjson::dom::object object = element.get_object().value_unsafe();
  const auto first = object.begin();
  if (object.size() == 1 && isSpecialName(first.key())) {
    std::optional<std::string_view> text;
    if (first.value().is_string()) {
      text = first.value().get_string().value_unsafe();
    }
    return specialValue(first.key(), text, place);
  }
  return Value::map(toMap(object, place));
}

Map toMap(const simdjson::dom::object& object, const JsonPlace& place) {
  Map map;
  for (auto member = object.begin(); member != object.end(); ++member) {
    const std::string_view name = member.key();
    const char* const key = member.key_c_str();
    if (std::string_view(key).size() != name.size()) {
      refuse(place, "the key " + inQuotes(key) + " must not contain U+0000");
    }
    if (!map.insert(key, toValue(member.value(), JsonPlace{&place, name}))) {
      refuse(place, "the key " + inQuotes(name) + " occurs twice");
    }
  }
  return map;
}

bool isSpecialName(std::string_view name) noexcept {
  return !name.empty() && name.front() == '$' && (name == kDecimalName || name == kBase64Name);
}

Value specialValue(std::string_view name, std::optional<std::string_view> text,
                   const JsonPlace& place) {
  if (!text) {
    refuse(place, inQuotes(name) + " must be a string");
  }
  if (name == kDecimalName) {
    const auto decimal = com::orvex::decimal64::fromText(*text);
    if (!decimal) {
      refuse(place, inQuotes(*text) + " is not a decimal number of at most 16 digits");
    }
    return Value::decimal(decimal->bits());
  }
  const auto bytes = decodeBase64(*text);
  if (!bytes) {
    refuse(place, "\"$base64\" holds no base64 text");
  }
  return Value::buffer(*bytes);
}

}  // namespace chainhost
