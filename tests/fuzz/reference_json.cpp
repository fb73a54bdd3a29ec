#include "fuzz/reference_json.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace fuzz {

namespace {

struct NoJson {};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

void appendUtf8(std::string& out, std::uint32_t point) {
  const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6));
    tail(0);
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | (point >> 12));
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xF0 | (point >> 18));
    tail(12);
    tail(6);
    tail(0);
  }
}

class Reading {
 public:
  explicit Reading(std::string_view text) : text_(text) {}

  Json read() {
    Json value = readValue(0);
    skipBlanks();
    if (at_ != text_.size()) throw NoJson();
    return value;
  }

 private:
  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }

  char take() {
    if (at_ == text_.size()) throw NoJson();
    return text_[at_++];
  }

  bool takeIf(char c) {
    if (at_ == text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  void expect(std::string_view word) {
    if (!text_.substr(at_).starts_with(word)) throw NoJson();
    at_ += word.size();
  }

  void skipBlanks() {
    while (at_ < text_.size() &&
           std::string_view(" \t\r\n").find(text_[at_]) != std::string::npos) {
      ++at_;
    }
  }

  Json readValue(int level) {
    if (level > 3000) throw NoJson();  // beyond what any input here nests
    skipBlanks();
    Json value;
    switch (peek()) {
      case '{':
        value.kind = Json::Kind::Object;
        readMembers(value, level);
        return value;
      case '[':
        value.kind = Json::Kind::Array;
        readElements(value, level);
        return value;
      case '"':
        value.kind = Json::Kind::Text;
        value.text = readText();
        return value;
      case 't':
        expect("true");
        value.kind = Json::Kind::True;
        return value;
      case 'f':
        expect("false");
        value.kind = Json::Kind::False;
        return value;
      case 'n':
        expect("null");
        return value;
      default:
        value.kind = Json::Kind::Number;
        value.text = readNumber();
        return value;
    }
  }

  void readMembers(Json& object, int level) {
    expect("{");
    object.depth = 1;
    skipBlanks();
    if (takeIf('}')) return;
    do {
      skipBlanks();
      if (peek() != '"') throw NoJson();
      std::string name = readText();
      skipBlanks();
      expect(":");
      object.members.push_back({std::move(name), readValue(level + 1)});
      object.depth = std::max(object.depth, object.members.back().value.depth + 1);
      skipBlanks();
    } while (takeIf(','));
    expect("}");
  }

  void readElements(Json& array, int level) {
    expect("[");
    array.depth = 1;
    skipBlanks();
    if (takeIf(']')) return;
    do {
      array.elements.push_back(readValue(level + 1));
      array.depth = std::max(array.depth, array.elements.back().depth + 1);
      skipBlanks();
    } while (takeIf(','));
    expect("]");
  }

  std::string readNumber() {
    const std::size_t begin = at_;
    const auto takeDigits = [&] {
      if (!isDigit(peek())) throw NoJson();
      while (isDigit(peek())) ++at_;
    };
    takeIf('-');
    if (!takeIf('0')) takeDigits();
    if (takeIf('.')) takeDigits();
    if (takeIf('e') || takeIf('E')) {
      if (!takeIf('+')) takeIf('-');
      takeDigits();
    }
    return std::string(text_.substr(begin, at_ - begin));
  }

  std::uint32_t readFourDigits() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      const char c = take();
      const std::size_t digit = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
      if (digit == std::string_view::npos) throw NoJson();
      value = value * 16 + static_cast<std::uint32_t>(digit % 16);
    }
    return value;
  }

  std::uint32_t readCodePoint() {
    const std::uint32_t first = readFourDigits();
    if (first >= 0xDC00 && first <= 0xDFFF) throw NoJson();
    if (first < 0xD800 || first > 0xDBFF) return first;
    expect("\\u");
    const std::uint32_t second = readFourDigits();
    if (second < 0xDC00 || second > 0xDFFF) throw NoJson();
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
  }

  std::string readText() {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kCharacters = "\"\\/\b\f\n\r\t";
    std::string result;
    expect("\"");
    for (char c = take(); c != '"'; c = take()) {
      if (c >= 0 && c < ' ') throw NoJson();
      if (c != '\\') {
        result += c;
        continue;
      }
      const char escape = take();
      const std::size_t letter = kLetters.find(escape);
      if (escape == 'u') {
        appendUtf8(result, readCodePoint());
      } else if (letter != std::string_view::npos) {
        result += kCharacters[letter];
      } else {
        throw NoJson();
      }
    }
    return result;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

const Json* Json::find(std::string_view name) const {
  for (const auto& [key, value] : members) {
    if (key == name) return &value;
  }
  return nullptr;
}

std::optional<Json> readJson(std::string_view text) {
  try {
    if (!isWellFormedUtf8(text)) return std::nullopt;
    return Reading(text).read();
  } catch (const NoJson&) {
    return std::nullopt;
  }
}

bool isWellFormedUtf8(std::string_view text) {
  while (!text.empty()) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if ((lead >= 0x80 && lead < 0xC0) || lead > 0xF7 || text.size() < length) return false;
    std::uint32_t point = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
      if ((text[i] & 0xC0) != 0x80) return false;
      point = point << 6 | (text[i] & 0x3F);
    }
    const std::uint32_t least = length == 1   ? 0
                                : length == 2 ? 0x80
                                : length == 3 ? 0x800
                                              : 0x10000;
    if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace fuzz
