#include "kelhost/value_text.h"

#include "kel/host_values.h"
#include "kelhost/blocks.h"
#include "runtime/decimal64.h"
#include "runtime/platform.h"

namespace kelhost {
namespace {

using com::orvex::decimal64;
using com::orvex::Platform;

void appendQuoted(std::string& text, const char* characters) {
  constexpr char kDigits[] = "0123456789abcdef";
  text += '"';
  for (; *characters != '\0'; ++characters) {
    const char c = *characters;
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      text += {'\\', c};
    } else if (c == '\n') {
      text += "\\n";
    } else if (c == '\r') {
      text += "\\r";
    } else if (c == '\t') {
      text += "\\t";
    } else if (byte < 0x20 || byte == 0x7F) {
      text += {'\\', 'u', '0', '0', kDigits[byte >> 4], kDigits[byte & 15]};
    } else {
      text += c;
    }
  }
  text += '"';
}

void append(std::string& text, const kel_data& value, bool isNested);

void appendList(std::string& text, const list_block* list) {
  text += '[';
  for (std::uint64_t i = 0; list != nullptr && i < list->count; ++i) {
    if (i > 0) text += ", ";
    append(text, elementsOf(list)[i], true);
  }
  text += ']';
}

void appendMap(std::string& text, const map_block* map) {
  text += '{';
  const char* separator = "";
  for (std::uint64_t i = 0; map != nullptr && i < map->capacity; ++i) {
    const kel_map_slot& slot = slotsOf(map)[i];
    if (!isOccupied(slot)) continue;
    text += separator;
    append(text, slot.key, true);
    text += ": ";
    append(text, slot.value, true);
    separator = ", ";
  }
  text += '}';
}

void append(std::string& text, const kel_data& value, bool isNested) {
  char number[64];
  switch (value.tag) {
    case KEL_TAG_BOOLEAN:
      text += value.payload.boolean != 0 ? "true" : "false";
      break;
    case KEL_TAG_DOUBLE:
      text += Platform::float64ToChar8(value.payload.number, number);
      break;
    case KEL_TAG_INTEGER:
      text += std::to_string(value.payload.integer);
      break;
    case KEL_TAG_DECIMAL:
      text += decimal64::fromBits(value.payload.bits).toString(number);
      break;
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      if (isNested) {
        appendQuoted(text, value.payload.string);
      } else {
        text += value.payload.string;
      }
      break;
    case KEL_TAG_LIST:
      appendList(text, value.payload.list);
      break;
    case KEL_TAG_MAP:
      appendMap(text, value.payload.map);
      break;
    case KEL_TAG_BUFFER: {
      const std::uint64_t length =
          value.payload.buffer == nullptr ? 0 : value.payload.buffer->length;
      text += "<" + std::to_string(length) + " bytes>";
      break;
    }
    case KEL_TAG_CUSTOM:
      text += "<custom>";
      break;
    default:
      text += "null";
      break;
  }
}

}  // namespace

std::string valueText(const kel_data& value) {
  std::string text;
  append(text, value, false);
  return text;
}

}  // namespace kelhost

extern "C" kel_data kel_data_to_string(kel_data value) {
  kel_data text{};
  text.payload.string = kel_copy_string(kelhost::valueText(value).c_str());
  text.tag = KEL_TAG_STRING;
  return text;
}
