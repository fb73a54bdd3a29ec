#include "model/text.h"

#include <string_view>

#include "kel/host_values.h"
#include "model/get.h"
#include "runtime/platform.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

std::string takeText(kel_data text) {
  const data_t result = data_t::adopt(text);
  return get<const char*>(result);
}

void append(std::string& text, const data_t& value);

void appendList(std::string& text, const list_t& list) {
  text += '[';
  const char* separator = "";
  for (const data_t& element : list) {
    text += separator;
    append(text, element);
    separator = ",";
  }
  text += ']';
}

void appendMap(std::string& text, const map_t& map) {
  text += '{';
  const char* separator = "";
  for (const auto& entry : map) {
    text += separator;
    append(text, entry.key());
    text += ':';
    append(text, entry.value());
    separator = ",";
  }
  text += '}';
}

void appendBuffer(std::string& text, std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  text.reserve(text.size() + 2 + 5 * bytes.size());
  text += '[';
  const char* separator = "";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += separator;
    text += {'0', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    separator = ",";
  }
  text += ']';
}

void append(std::string& text, const data_t& value) {
  char number[64];
  static_assert(sizeof(number) >= orvex::Platform::kFloat64TextBytes);
  switch (value.tag()) {
    case KEL_TAG_BOOLEAN:
      text += get<bool>(value) ? "true" : "false";
      break;
    case KEL_TAG_DOUBLE:
      text += orvex::Platform::float64ToChar8(get<double>(value), number);
      break;
    case KEL_TAG_INTEGER:
      text += std::to_string(get<std::int64_t>(value));
      break;
    case KEL_TAG_DECIMAL:
      text += get<orvex::decimal64>(value).toString(number);
      break;
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      text += get<const char*>(value);
      break;
    case KEL_TAG_LIST:
      appendList(text, get<list_t>(value));
      break;
    case KEL_TAG_MAP:
      appendMap(text, get<map_t>(value));
      break;
    case KEL_TAG_BUFFER:
      appendBuffer(text, get<buffer_t>(value).view());
      break;
    case KEL_TAG_CUSTOM:
      text += "(custom)";
      break;
    default:
      text += "(null)";
      break;
  }
}

}  // namespace

std::string hostText(const data_t& value) { return takeText(kel_data_to_string(value.raw())); }

std::string hostText(const map_t& map) {
  kel_data whole{};
  whole.tag = KEL_TAG_MAP;
  whole.payload.map = map.raw();
  return takeText(kel_data_to_string(whole));
}

std::string valueText(const data_t& value) {
  std::string text;
  append(text, value);
  return text;
}

std::string valueText(const map_t& map) {
  std::string text;
  appendMap(text, map);
  return text;
}

}  // namespace com::corvane::connectivity10_15_0
