#include "chainhost/yaml_value.h"

#include <yaml-cpp/yaml.h>

#include <charconv>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "chainhost/json_value.h"
#include "chainhost/quotes.h"

namespace chainhost {

namespace {

constexpr int kDepthMax = 200;
constexpr std::string_view kCoreTagPrefix = "tag:yaml.org,2002:";

[[noreturn]] void refuse(const YAML::Node& node, const std::string& reason) {
  throw YamlError("line " + std::to_string(node.Mark().line + 1) + ": " + reason);
}

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
  for (const std::string_view word : words) {
    if (text == word) {
      return true;
    }
  }
  return false;
}

std::size_t countDigits(std::string_view text) {
  const std::size_t end = text.find_first_not_of("0123456789");
  return end == std::string_view::npos ? text.size() : end;
}

std::string_view withoutSign(std::string_view text) {
  const bool isSigned = !text.empty() && (text.front() == '-' || text.front() == '+');
  return text.substr(isSigned ? 1 : 0);
}

// The schema's float without the words: a sign, digits with a point somewhere or none, an exponent.
// Every decimal integer has this form, too.
bool hasFloatForm(std::string_view text) {
  text = withoutSign(text);
  const std::size_t whole = countDigits(text);
  text.remove_prefix(whole);
  std::size_t fraction = 0;
  if (text.starts_with('.')) {
    text.remove_prefix(1);
    fraction = countDigits(text);
    text.remove_prefix(fraction);
  }
  if (whole + fraction == 0) {
    return false;
  }
  if (text.starts_with('e') || text.starts_with('E')) {
    const std::string_view exponent = withoutSign(text.substr(1));
    return !exponent.empty() && countDigits(exponent) == exponent.size();
  }
  return text.empty();
}

double toDouble(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
  }
  double number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec == std::errc::result_out_of_range) {
    // Too large or too small: what the C library makes of it, infinity or zero.
    return std::strtod(std::string(text).c_str(), nullptr);
  }
  return number;
}

std::optional<Value> toFloat(std::string_view text) {
  const std::string_view word = withoutSign(text);
  if (isOneOf(word, {".inf", ".Inf", ".INF"})) {
    const double infinity = std::numeric_limits<double>::infinity();
    return Value::number(text.front() == '-' ? -infinity : infinity);
  }
  if (isOneOf(text, {".nan", ".NaN", ".NAN"})) {
    return Value::number(std::numeric_limits<double>::quiet_NaN());
  }
  if (!hasFloatForm(text)) {
    return std::nullopt;
  }
  return Value::number(toDouble(text));
}

// An integer in base 10 (signed), 8 (0o) or 16 (0x) that fits in 64 bits.
std::optional<Value> toInteger(std::string_view text) {
  int base = 10;
  std::string_view digits = text.substr(text.starts_with('+') ? 1 : 0);
  if (text.starts_with("0o") || text.starts_with("0x")) {
    base = text[1] == 'o' ? 8 : 16;
    digits = text.substr(2);
  }
  if (digits.starts_with('-') != text.starts_with('-')) {
    return std::nullopt;  // a second sign
  }
  std::int64_t integer = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), integer, base);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return Value::integer(integer);
}

std::optional<Value> toBoolean(std::string_view text) {
  if (isOneOf(text, {"true", "True", "TRUE"})) {
    return Value::boolean(true);
  }
  if (isOneOf(text, {"false", "False", "FALSE"})) {
    return Value::boolean(false);
  }
  return std::nullopt;
}

std::optional<Value> toNull(std::string_view text) {
  if (isOneOf(text, {"", "~", "null", "Null", "NULL"})) {
    return Value();
  }
  return std::nullopt;
}

std::string scalarText(const YAML::Node& node) {
  if (node.Scalar().find('\0') != std::string::npos) {
    refuse(node, "a string must not contain U+0000");
  }
  return node.Scalar();
}

Value required(const YAML::Node& node, std::optional<Value> value, const char* kind) {
  if (!value) {
    refuse(node, inQuotes(node.Scalar()) + " is no " + kind);
  }
  return std::move(*value);
}

Value resolvePlain(const std::string& text) {
  for (const auto resolve : {toNull, toBoolean, toInteger, toFloat}) {
    if (auto value = resolve(text)) {
      return std::move(*value);
    }
  }
  return Value::text(text.c_str());
}

Value toScalar(const YAML::Node& node) {
  const std::string text = scalarText(node);
  const std::string& tag = node.Tag();
  if (tag == "?" || tag.empty()) {
    return resolvePlain(text);
  }
  if (tag == "!") {
    return Value::text(text.c_str());
  }
  const std::string_view name = tag.starts_with(kCoreTagPrefix)
                                    ? std::string_view(tag).substr(kCoreTagPrefix.size())
                                    : std::string_view();
  if (name == "str") {
    return Value::text(text.c_str());
  }
  if (name == "int") {
    return required(node, toInteger(text), "integer");
  }
  if (name == "float") {
    return required(node, toFloat(text), "float");
  }
  if (name == "bool") {
    return required(node, toBoolean(text), "boolean");
  }
  if (name == "null") {
    return required(node, toNull(text), "null");
  }
  refuse(node, "the tag " + inQuotes(tag) + " is not known");
}

Value toValue(const YAML::Node& node, int depth);

Map toMap(const YAML::Node& node, int depth) {
  Map map;
  for (const auto& entry : node) {
    const YAML::Node& keyNode = entry.first;
    if (!keyNode.IsScalar()) {
      refuse(keyNode, "a key must be a scalar");
    }
    const std::string key = scalarText(keyNode);
    // The library takes a second value for a key without a word.
    if (!map.insert(key.c_str(), toValue(entry.second, depth + 1))) {
      refuse(keyNode, "the key " + inQuotes(key) + " occurs twice");
    }
  }
  return map;
}

std::optional<Value> toSpecial(const YAML::Node& node) {
  const YAML::Node key = node.begin()->first;
  const YAML::Node value = node.begin()->second;
  if (!key.IsScalar() || !isSpecialName(key.Scalar())) {
    return std::nullopt;
  }
  std::optional<std::string_view> text;
  if (value.IsScalar()) {
    text = value.Scalar();
  }
  try {
    return specialValue(key.Scalar(), text, JsonPlace{nullptr, key.Scalar()});
  } catch (const JsonError& error) {
    refuse(key, error.what());
  }
}

Value toValue(const YAML::Node& node, int depth) {
  if (depth > kDepthMax) {
    refuse(node, "it is nested too deeply");
  }
  if (node.IsMap()) {
    if (node.size() == 1) {
      if (auto special = toSpecial(node)) {
        return std::move(*special);
      }
    }
    return Value::map(toMap(node, depth));
  }
  if (node.IsSequence()) {
    std::vector<Value> elements;
    for (const auto& element : node) {
      elements.push_back(toValue(element, depth + 1));
    }
    return Value::list(elements);
  }
  return node.IsScalar() ? toScalar(node) : Value();
}

}  // namespace

Map parseYamlMap(const std::string& text) {
  std::vector<YAML::Node> documents;
  try {
    documents = YAML::LoadAll(text);
  } catch (const YAML::Exception& error) {
    throw YamlError("line " + std::to_string(error.mark.line + 1) + ": " + error.msg);
  }
  if (documents.size() > 1) {
    throw YamlError("there is more than one document");
  }
  if (documents.empty() || !documents.front().IsMap()) {
    throw YamlError("it must be a map");
  }
  return toMap(documents.front(), 1);
}

}  // namespace chainhost
