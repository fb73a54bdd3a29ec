#include "support/request_reader.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace test_support {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool sameName(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

bool isTokenByte(char c) {
  const bool alphanumeric = (lower(c) >= 'a' && lower(c) <= 'z') || (c >= '0' && c <= '9');
  return alphanumeric ||
         (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos);
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenByte);
}

bool isVisible(char c) { return static_cast<unsigned char>(c) > 0x20 && c != 0x7F; }

bool isFieldByte(char c) { return isVisible(c) || c == ' ' || c == '\t'; }

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::size_t parseNumber(std::string_view text, int base, const char* what) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw MalformedRequest(std::string("bad ") + what + " " + inQuotes(text));
  }
  return number;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

void parseRequestLine(std::string_view line, HttpRequest& request) {
  const std::size_t first = line.find(' ');
  const std::size_t second = first == std::string_view::npos ? first : line.find(' ', first + 1);
  if (second == std::string_view::npos) {
    throw MalformedRequest("bad request line " + inQuotes(line));
  }
  request.method = line.substr(0, first);
  request.target = line.substr(first + 1, second - first - 1);
  request.version = line.substr(second + 1);
  const bool goodTarget = !request.target.empty() &&
                          std::all_of(request.target.begin(), request.target.end(), isVisible);
  if (!isToken(request.method) || !goodTarget ||
      (request.version != "HTTP/1.1" && request.version != "HTTP/1.0")) {
    throw MalformedRequest("bad request line " + inQuotes(line));
  }
}

std::pair<std::string, std::string> parseField(std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || !isToken(line.substr(0, colon)) ||
      !std::all_of(line.begin(), line.end(), isFieldByte)) {
    throw MalformedRequest("bad header line " + inQuotes(line));
  }
  return {std::string(line.substr(0, colon)), std::string(trimmed(line.substr(colon + 1)))};
}

}  // namespace

std::vector<std::string> HttpRequest::values(std::string_view name) const {
  std::vector<std::string> found;
  for (const auto& [fieldName, fieldValue] : headers) {
    if (sameName(fieldName, name)) {
      found.push_back(fieldValue);
    }
  }
  return found;
}

std::string HttpRequest::value(std::string_view name) const {
  const std::vector<std::string> found = values(name);
  if (found.size() != 1) {
    throw std::logic_error(std::to_string(found.size()) + " headers " + inQuotes(name) + " in " +
                           inQuotes(raw));
  }
  return found.front();
}

std::optional<HttpRequest> RequestReader::readHead() {
  if (buffer_.empty() && !fill()) {
    return std::nullopt;
  }
  HttpRequest request;
  parseRequestLine(takeLine(request), request);
  readFields(request, request.headers);
  return request;
}

void RequestReader::readBody(HttpRequest& request) {
  const std::vector<std::string> lengths = request.values("Content-Length");
  const std::vector<std::string> codings = request.values("Transfer-Encoding");
  if (lengths.size() + codings.size() > 1) {
    throw MalformedRequest("several headers tell where the body ends: " + inQuotes(request.raw));
  }
  if (!lengths.empty()) {
    request.body = takeBytes(request, parseNumber(lengths.front(), 10, "Content-Length"));
  } else if (!codings.empty()) {
    if (!sameName(codings.front(), "chunked")) {
      throw MalformedRequest("bad Transfer-Encoding " + inQuotes(codings.front()));
    }
    readChunks(request);
  }
}

std::string RequestReader::readSome() {
  if (buffer_.empty()) {
    fill();
  }
  return std::exchange(buffer_, {});
}

void RequestReader::readChunks(HttpRequest& request) {
  for (;;) {
    const std::size_t size = parseNumber(takeLine(request), 16, "chunk size");
    if (size == 0) {
      readFields(request, request.trailers);
      return;
    }
    request.body += takeBytes(request, size);
    request.chunkBytes.push_back(size);
    if (!takeLine(request).empty()) {
      throw MalformedRequest("a chunk is longer than its size");
    }
  }
}

void RequestReader::readFields(HttpRequest& request, HttpRequest::Fields& fields) {
  for (std::string line = takeLine(request); !line.empty(); line = takeLine(request)) {
    fields.push_back(parseField(line));
  }
}

std::string RequestReader::takeLine(HttpRequest& request) {
  std::size_t end = buffer_.find('\n');
  while (end == std::string::npos) {
    const std::size_t searched = buffer_.size();
    if (!fill()) {
      throw TruncatedRequest("the stream ended within the line " + inQuotes(buffer_));
    }
    end = buffer_.find('\n', searched);
  }
  std::string line = buffer_.substr(0, end);
  request.raw += buffer_.substr(0, end + 1);
  buffer_.erase(0, end + 1);
  if (line.empty() || line.back() != '\r') {
    throw MalformedRequest("a line ends without carriage return: " + inQuotes(line));
  }
  line.pop_back();
  return line;
}

std::string RequestReader::takeBytes(HttpRequest& request, std::size_t count) {
  while (buffer_.size() < count) {
    if (!fill()) {
      throw TruncatedRequest("the stream ended after " + std::to_string(buffer_.size()) + " of " +
                             std::to_string(count) + " bytes");
    }
  }
  std::string bytes = buffer_.substr(0, count);
  request.raw += bytes;
  buffer_.erase(0, count);
  return bytes;
}

bool RequestReader::fill() {
  const std::string bytes = source_();
  buffer_ += bytes;
  return !bytes.empty();
}

}  // namespace test_support
