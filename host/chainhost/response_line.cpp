#include "chainhost/response_line.h"

#include "chainhost/json_text.h"

namespace chainhost {

namespace {

void appendValue(TextBuffer& out, const kel_data& data);

void appendHostText(TextBuffer& out, const kel_data& data) {
  const Value text = Value::adopt(kel_data_to_string(data));
  if (isText(text.raw())) {
    appendJsonText(out, text.raw().payload.string);
  } else {
    out += "null";
  }
}

void appendMap(TextBuffer& out, const map_block* block) {
  out += '{';
  std::string_view separator;
  for (const kel_map_slot& slot : slots(block)) {
    if (!isOccupied(slot)) {
      continue;
    }
    out += separator;
    if (isText(slot.key)) {
      appendJsonText(out, slot.key.payload.string);
    } else {
      appendHostText(out, slot.key);
    }
    out += ": ";
    appendValue(out, slot.value);
    separator = ", ";
  }
  out += '}';
}

void appendList(TextBuffer& out, const list_block* block) {
  out += '[';
  std::string_view separator;
  for (const kel_data& element : elements(block)) {
    out += separator;
    appendValue(out, element);
    separator = ", ";
  }
  out += ']';
}

void appendValue(TextBuffer& out, const kel_data& data) {
  switch (data.tag) {
    case KEL_TAG_BOOLEAN:
      out += data.payload.boolean != 0 ? "true" : "false";
      break;
    case KEL_TAG_DOUBLE:
      appendJsonNumber(out, data.payload.number);
      break;
    case KEL_TAG_INTEGER:
      appendJsonInteger(out, data.payload.integer);
      break;
    case KEL_TAG_DECIMAL:
      out += "{\"$decimal\": ";
      appendHostText(out, data);
      out += '}';
      break;
    case KEL_TAG_STRING:
    case KEL_TAG_BORROWED_STRING:
      appendJsonText(out, data.payload.string);
      break;
    case KEL_TAG_LIST:
      appendList(out, data.payload.list);
      break;
    case KEL_TAG_MAP:
      appendMap(out, data.payload.map);
      break;
    case KEL_TAG_BUFFER:
      appendJsonBase64(out, bytes(data.payload.buffer));
      break;
    case KEL_TAG_CUSTOM:
      appendHostText(out, data);
      break;
    default:
      out += "null";
  }
}

}  // namespace

void appendResponseLine(TextBuffer& out, const kel_message& message) {
  out += "{\"payload\": ";
  if (message.payload.tag == KEL_TAG_BUFFER) {
    appendJsonBytes(out, bytes(message.payload.payload.buffer));
  } else {
    appendValue(out, message.payload);
  }
  out += ", \"metadata\": ";
  appendMap(out, message.metadata);
  out += "}\n";
}

void appendErrorLine(TextBuffer& out, std::string_view text, std::uint64_t lineNumber) {
  out += "{\"error\": ";
  appendJsonText(out, text);
  out += ", \"line\": ";
  appendJsonInteger(out, static_cast<std::int64_t>(lineNumber));
  out += "}\n";
}

}  // namespace chainhost
