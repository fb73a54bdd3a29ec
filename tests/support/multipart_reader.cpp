#include "support/multipart_reader.h"

#include <cstddef>

namespace test_support {
namespace {

// What stands before the next `end`; it and the end are taken off the text.
std::string_view takeUpTo(std::string_view& text, std::string_view end, const char* what) {
  const std::size_t position = text.find(end);
  if (position == std::string_view::npos) throw MalformedMultipart(what);
  const std::string_view taken = text.substr(0, position);
  text.remove_prefix(position + end.size());
  return taken;
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

void readDisposition(std::string_view value, MultipartPart& part) {
  if (!takePrefix(value, "form-data; name=\"")) throw MalformedMultipart("no name");
  part.name = takeUpTo(value, "\"", "name without an end");
  if (value.empty()) return;
  if (!takePrefix(value, "; filename=\"")) throw MalformedMultipart("text behind the name");
  part.fileName = takeUpTo(value, "\"", "file name without an end");
  if (!value.empty()) throw MalformedMultipart("text behind the file name");
}

void readHeader(std::string_view line, MultipartPart& part, bool& hasDisposition) {
  if (line.find_first_of("\r\n") != std::string_view::npos) {
    throw MalformedMultipart("line break inside a header");
  }
  if (takePrefix(line, "Content-Disposition: ") && !hasDisposition) {
    readDisposition(line, part);
    hasDisposition = true;
  } else if (takePrefix(line, "Content-Type: ") && !part.contentType) {
    part.contentType = line;
  } else {
    throw MalformedMultipart("unexpected header");
  }
}

MultipartPart readPart(std::string_view part) {
  MultipartPart result;
  bool hasDisposition = false;
  while (true) {
    const std::string_view line = takeUpTo(part, "\r\n", "headers without an end");
    if (line.empty()) break;
    readHeader(line, result, hasDisposition);
  }
  if (!hasDisposition) throw MalformedMultipart("no Content-Disposition");
  result.body = part;
  return result;
}

}  // namespace

std::string boundaryOf(std::string_view contentType) {
  if (!takePrefix(contentType, "multipart/form-data; boundary=\"")) {
    throw MalformedMultipart("no boundary");
  }
  const std::string boundary(takeUpTo(contentType, "\"", "boundary without an end"));
  if (boundary.empty() || !contentType.empty()) throw MalformedMultipart("bad boundary");
  return boundary;
}

std::vector<MultipartPart> readMultipart(std::string_view contentType, std::string_view body) {
  const std::string boundary = boundaryOf(contentType);
  const std::string delimiter = "\r\n--" + boundary;
  std::vector<MultipartPart> parts;
  if (body == delimiter + "--\r\n") return parts;  // a form without fields
  if (!takePrefix(body, "--" + boundary + "\r\n")) throw MalformedMultipart("no first part");
  while (true) {
    parts.push_back(readPart(takeUpTo(body, delimiter, "part without an end")));
    if (body == "--\r\n") return parts;
    if (!takePrefix(body, "\r\n")) throw MalformedMultipart("bad end of a part");
  }
}

}  // namespace test_support
