// fuzz/reference_json.h : reads a JSON text strictly by RFC 8259, with its bytes as UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

struct JsonMember;

struct Json {
  enum class Kind { Null, True, False, Number, Text, Array, Object };
  Kind kind = Kind::Null;
  std::string text;  // of a text: its characters; of a number: as it is written
  std::vector<Json> elements;
  std::vector<JsonMember> members;
  std::size_t depth = 0;  // of arrays and objects below and including this

  const Json* find(std::string_view name) const;
};

struct JsonMember {
  std::string name;
  Json value;
};

/// Nothing: it is no JSON text.
std::optional<Json> readJson(std::string_view text);

bool isWellFormedUtf8(std::string_view text);

}  // namespace fuzz
