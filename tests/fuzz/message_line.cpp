// A line of the stand-alone host's input becomes a message exactly when a JSON reader of another
// making finds an object of the documented form in it; the message holds the same values. Written
// as a line of the output and read again, it is the same message.

#include <openssl/evp.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "chainhost/host_values.h"
#include "chainhost/message_line.h"
#include "chainhost/response_line.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/reference_json.h"
#include "runtime/decimal64.h"

namespace {

using chainhost::Batch;
using com::orvex::decimal64;
using fuzz::Json;

constexpr std::size_t kDepthMax = 1024;

// The decoder of another library, which also takes blanks and unused bits that are not zero: only
// what it encodes to the same text again counts.
std::optional<std::string> decodedBase64(const std::string& text) {
  if (text.empty()) return std::string();
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const auto* const source = reinterpret_cast<const unsigned char*>(text.data());
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), source,
                                     static_cast<int>(text.size()));
  if (length < 0) return std::nullopt;
  for (int cut = 0; cut < 3 && static_cast<std::size_t>(cut) <= bytes.size(); ++cut) {
    const std::string candidate = bytes.substr(0, static_cast<std::size_t>(length - cut));
    std::string again(text.size() + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(again.data()),
                    reinterpret_cast<const unsigned char*>(candidate.data()),
                    static_cast<int>(candidate.size()));
    again.pop_back();
    if (again == text) return candidate;
  }
  return std::nullopt;
}

bool isInteger(const std::string& number) {
  return number.find_first_of(".eE") == std::string::npos;
}

std::optional<std::int64_t> integerOf(const std::string& number) {
  std::int64_t value = 0;
  const char* const end = number.data() + number.size();
  if (!isInteger(number)) return std::nullopt;
  const auto [stop, failure] = std::from_chars(number.data(), end, value);
  if (failure != std::errc() || stop != end) return std::nullopt;
  return value;
}

const Json* special(const Json& json, const char* name) {
  const bool isSpecial =
      json.kind == Json::Kind::Object && json.members.size() == 1 && json.members[0].name == name;
  return isSpecial ? &json.members[0].value : nullptr;
}

bool isGoodText(const std::string& text) { return text.find('\0') == std::string::npos; }

// Whether a value can be made of it.
bool isGood(const Json& json) {
  switch (json.kind) {
    case Json::Kind::Number:
      return std::isfinite(std::strtod(json.text.c_str(), nullptr));
    case Json::Kind::Text:
      return isGoodText(json.text);
    case Json::Kind::Array:
      for (const Json& element : json.elements) {
        if (!isGood(element)) return false;
      }
      return true;
    case Json::Kind::Object:
      break;
    default:
      return true;
  }
  if (const Json* const bytes = special(json, "$base64")) {
    return bytes->kind == Json::Kind::Text && decodedBase64(bytes->text);
  }
  if (const Json* const number = special(json, "$decimal")) {
    return number->kind == Json::Kind::Text && decimal64::fromText(number->text);
  }
  std::set<std::string> names;
  for (const auto& [name, value] : json.members) {
    if (!isGoodText(name) || !names.insert(name).second || !isGood(value)) return false;
  }
  return true;
}

// Metadata is a map whatever its names are.
bool isGoodMap(const Json& json) {
  std::set<std::string> names;
  for (const auto& [name, value] : json.members) {
    if (!isGoodText(name) || !names.insert(name).second || !isGood(value)) return false;
  }
  return json.kind == Json::Kind::Object;
}

bool isGoodMessage(const Json& json) {
  std::set<std::string> names;
  for (const auto& [name, value] : json.members) {
    if (!names.insert(name).second) return false;
    if (name == "payload") {
      if (value.kind != Json::Kind::Text && !isGood(value)) return false;
    } else if (name != "metadata" || !isGoodMap(value)) {
      return false;
    }
  }
  return json.kind == Json::Kind::Object && json.depth <= kDepthMax;
}

void compare(const kel_data& value, const Json& json);

void compareMap(const map_block* block, const Json& json) {
  const std::uint64_t count = block == nullptr ? 0 : block->count;
  fuzz::require(count == json.members.size(), "another number of entries");
  for (const auto& [name, member] : json.members) {
    const kel_data* const value = chainhost::find(block, chainhost::TextKey(name.c_str()));
    fuzz::require(value != nullptr, "an entry is missing");
    compare(*value, member);
  }
}

void compareSpecial(const kel_data& value, const Json& json) {
  if (const Json* const bytes = special(json, "$base64")) {
    fuzz::require(value.tag == KEL_TAG_BUFFER, "no buffer");
    fuzz::require(chainhost::bytes(value.payload.buffer) == decodedBase64(bytes->text), "bytes");
  } else if (const Json* const number = special(json, "$decimal")) {
    fuzz::require(value.tag == KEL_TAG_DECIMAL, "no decimal");
    fuzz::require(value.payload.bits == decimal64::fromText(number->text)->bits(), "decimal");
  } else {
    fuzz::require(value.tag == KEL_TAG_MAP, "no map");
    compareMap(value.payload.map, json);
  }
}

void compareNumber(const kel_data& value, const std::string& text) {
  if (const auto integer = integerOf(text)) {
    fuzz::require(value.tag == KEL_TAG_INTEGER, "no integer");
    fuzz::require(value.payload.integer == *integer, "integer");
  } else {
    fuzz::require(value.tag == KEL_TAG_DOUBLE, "no double");
    fuzz::require(value.payload.number == std::strtod(text.c_str(), nullptr), "double");
  }
}

void compare(const kel_data& value, const Json& json) {
  switch (json.kind) {
    case Json::Kind::Null:
      fuzz::require(value.tag == KEL_TAG_EMPTY, "not empty");
      break;
    case Json::Kind::True:
    case Json::Kind::False:
      fuzz::require(value.tag == KEL_TAG_BOOLEAN, "no boolean");
      fuzz::require((value.payload.boolean != 0) == (json.kind == Json::Kind::True), "boolean");
      break;
    case Json::Kind::Number:
      compareNumber(value, json.text);
      break;
    case Json::Kind::Text:
      fuzz::require(value.tag == KEL_TAG_STRING, "no text");
      fuzz::require(json.text == value.payload.string, "text");
      break;
    case Json::Kind::Array: {
      const auto elements = chainhost::elements(value.payload.list);
      fuzz::require(value.tag == KEL_TAG_LIST, "no list");
      fuzz::require(elements.size() == json.elements.size(), "another number of elements");
      for (std::size_t i = 0; i < elements.size(); ++i) compare(elements[i], json.elements[i]);
      break;
    }
    case Json::Kind::Object:
      compareSpecial(value, json);
      break;
  }
}

void compareMessage(const kel_message& message, const Json& json) {
  const Json* const payload = json.find("payload");
  if (payload == nullptr || payload->kind == Json::Kind::Text) {
    fuzz::require(message.payload.tag == KEL_TAG_BUFFER, "no buffer as the payload");
    fuzz::require(
        chainhost::bytes(message.payload.payload.buffer) == (payload ? payload->text : ""),
        "the payload's bytes");
  } else {
    compare(message.payload, *payload);
  }
  const Json* const metadata = json.find("metadata");
  compareMap(message.metadata, metadata ? *metadata : Json());
}

// One line that another reader takes, and that is the same message again.
void checkOutput(const kel_message& message, bool isDeep) {
  chainhost::TextBuffer out;
  chainhost::appendResponseLine(out, message);
  std::string line(out.view());
  fuzz::require(line.ends_with('\n') && line.find('\n') == line.size() - 1, "not one line");
  line.pop_back();
  const auto json = fuzz::readJson(line);
  fuzz::require(json.has_value(), "the output is no JSON");
  if (isDeep) return;
  fuzz::require(isGoodMessage(*json), "the output is no message");
  compareMessage(message, *json);
}

void checkErrorLine(const char* text) {
  chainhost::TextBuffer out;
  chainhost::appendErrorLine(out, text, 7);
  std::string line(out.view());
  fuzz::require(line.ends_with('\n') && line.find('\n') == line.size() - 1, "not one error line");
  line.pop_back();
  const auto json = fuzz::readJson(line);
  fuzz::require(json && json->find("error") && json->find("line"), "no error object");
  fuzz::require(json->find("line")->text == "7", "the error's line number");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  // A line holds no line feed, and readable bytes follow it.
  std::string line(reinterpret_cast<const char*>(data), size);
  line.resize(std::min(line.find('\n'), line.size()));
  const std::size_t length = line.size();
  const auto json = fuzz::readJson(line);
  const bool isGoodLine = json && isGoodMessage(*json);
  line.append(chainhost::JsonParser::kPaddingBytes, '"');

  chainhost::MessageParser parser;
  Batch batch;
  try {
    parser.parse(std::string_view(line).substr(0, length), batch);
  } catch (const std::exception& failure) {
    fuzz::require(batch.empty(), "a refused line left a message");
    if (isGoodLine) fuzz::fail(std::string("refused: ") + failure.what());
    checkErrorLine(failure.what());
    return 0;
  }
  fuzz::require(batch.size() == 1, "not one message");
  if (!isGoodLine) fuzz::fail("a line is taken that is no message");
  compareMessage(*batch.begin(), *json);
  checkOutput(*batch.begin(), json->depth > kDepthMax - 2);
  return 0;
}
