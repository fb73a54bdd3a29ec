#include "kelhost/value_text.h"

#include <cstdint>
#include <vector>

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

// A list or map whose text has been begun. Kept apart from the call stack, which deep nesting would
// exhaust.
struct Open {
  const kel_data* container;
  std::uint64_t next = 0;  // element or slot
  bool isKeyWritten = false;
  bool isFirst = true;
};

void appendScalar(std::string& text, const kel_data& value, bool isNested) {
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

// Writes a scalar, or begins a container, which the caller goes on with.
void begin(std::string& text, std::vector<Open>& open, const kel_data& value, bool isNested) {
  if (value.tag == KEL_TAG_LIST || value.tag == KEL_TAG_MAP) {
    text += value.tag == KEL_TAG_LIST ? '[' : '{';
    open.push_back(Open{&value});
  } else {
    appendScalar(text, value, isNested);
  }
}

// The next value of a list, or key or value of a map, with what stands before it; null at the end.
const kel_data* nextOf(std::string& text, Open& open) {
  const char* const separator = open.isFirst ? "" : ", ";
  if (open.container->tag == KEL_TAG_LIST) {
    const list_block* const list = open.container->payload.list;
    if (list == nullptr || open.next == list->count) return nullptr;
    text += separator;
    open.isFirst = false;
    return &elementsOf(list)[open.next++];
  }
  const map_block* const map = open.container->payload.map;
  if (open.isKeyWritten) {
    text += ": ";
    open.isKeyWritten = false;
    return &slotsOf(map)[open.next++].value;
  }
  while (map != nullptr && open.next < map->capacity && !isOccupied(slotsOf(map)[open.next])) {
    ++open.next;
  }
  if (map == nullptr || open.next == map->capacity) return nullptr;
  text += separator;
  open.isFirst = false;
  open.isKeyWritten = true;
  return &slotsOf(map)[open.next].key;
}

}  // namespace

std::string valueText(const kel_data& value) {
  std::string text;
  std::vector<Open> open;
  begin(text, open, value, false);
  while (!open.empty()) {
    const kel_data* const next = nextOf(text, open.back());
    if (next != nullptr) {
      begin(text, open, *next, true);
    } else {
      text += open.back().container->tag == KEL_TAG_LIST ? ']' : '}';
      open.pop_back();
    }
  }
  return text;
}

}  // namespace kelhost

extern "C" kel_data kel_data_to_string(kel_data value) {
  kel_data text{};
  text.payload.string = kel_copy_string(kelhost::valueText(value).c_str());
  text.tag = KEL_TAG_STRING;
  return text;
}
