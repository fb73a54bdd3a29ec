#include "chainhost/message_line.h"

#include <string>
#include <utility>

namespace chainhost {

namespace {

constexpr JsonPlace kPayload{nullptr, "payload"};
constexpr JsonPlace kMetadata{nullptr, "metadata"};

Value toPayload(const simdjson::dom::element& element) {
  if (element.is_string()) {
    return Value::buffer(element.get_string().value_unsafe());
  }
  return toValue(element, kPayload);
}

Map toMetadata(const simdjson::dom::element& element) {
  if (!element.is_object()) {
    throw JsonError("\"metadata\" must be an object");
  }
  return toMap(element.get_object().value_unsafe(), kMetadata);
}

// Notes that a member has been seen; refuses the second time.
void noteOnce(bool& seen, std::string_view name) {
  if (std::exchange(seen, true)) {
    throw JsonError("the member \"" + std::string(name) + "\" occurs twice");
  }
}

}  // namespace

void MessageParser::parse(std::string_view line, Batch& batch) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
    throw JsonError("the line is blank");
  }
  const simdjson::dom::element root = parser_.parse(line);
  if (!root.is_object()) {
    throw JsonError("the line is no JSON object");
  }
  Value payload;
  Map metadata;
  bool hasPayload = false;
  bool hasMetadata = false;
  const simdjson::dom::object members = root.get_object().value_unsafe();
  for (const auto [name, element] : members) {
    if (name == "payload") {
      noteOnce(hasPayload, name);
      payload = toPayload(element);
    } else if (name == "metadata") {
      noteOnce(hasMetadata, name);
      metadata = toMetadata(element);
    } else {
      throw JsonError("unknown member \"" + std::string(name) +
                      "\" (a message has \"payload\" and \"metadata\")");
    }
  }
  if (!hasPayload) {
    payload = Value::buffer({});
  }
  batch.append(std::move(payload), std::move(metadata));
}

}  // namespace chainhost
