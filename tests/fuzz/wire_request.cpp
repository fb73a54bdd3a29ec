#include "fuzz/wire_request.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace fuzz {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

// Thrown when the bytes end before the request does.
struct More {};

std::string lowerCase(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
  return result;
}

std::uint64_t numberOf(std::string_view text, int base) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number, base);
  if (failure != std::errc() || stop != end) throw NoRequest{"no number"};
  return number;
}

std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = rest.find('\n');
  if (end == std::string_view::npos) throw More();
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end + 1);
  if (!line.ends_with('\r')) throw NoRequest{"a line ends without carriage return"};
  const std::string_view text = line.substr(0, line.size() - 1);
  if (text.find('\r') != std::string_view::npos) throw NoRequest{"bare carriage return"};
  if (text.find('\0') != std::string_view::npos) throw NoRequest{"NUL byte"};
  return text;
}

std::string takeBytes(std::string_view& rest, std::uint64_t count) {
  if (rest.size() < count) throw More();
  const std::string bytes(rest.substr(0, count));
  rest.remove_prefix(count);
  return bytes;
}

bool isVisible(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte != 0x7F;
  });
}

void readRequestLine(std::string_view line, WireRequest& request) {
  const std::size_t first = line.find(' ');
  const std::size_t last = line.rfind(' ');
  if (first == last || first == 0) throw NoRequest{"no request line"};
  request.method = line.substr(0, first);
  request.target = line.substr(first + 1, last - first - 1);
  if (request.target.empty() || !isVisible(request.target) || !isVisible(request.method)) {
    throw NoRequest{"blanks in the request line"};
  }
  if (line.substr(last + 1) != "HTTP/1.1") throw NoRequest{"another version"};
}

void readField(std::string_view line, WireRequest& request) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) throw NoRequest{"field without a name"};
  const std::string_view name = line.substr(0, colon);
  // What the conversion puts for a character without a counterpart may stand in a name.
  std::string visible(name);
  std::replace(visible.begin(), visible.end(), '\x1A', '?');
  if (!isVisible(visible)) throw NoRequest{"blanks in a field's name"};
  request.fields.emplace_back(lowerCase(name), stripped(line.substr(colon + 1)));
}

void readChunks(std::string_view& rest, WireRequest& request) {
  while (const std::uint64_t size = numberOf(takeLine(rest), 16)) {
    request.body += takeBytes(rest, size);
    if (takeBytes(rest, 2) != kLineEnd) throw NoRequest{"chunk longer than its size"};
  }
  if (!takeLine(rest).empty()) throw NoRequest{"trailers"};
}

WireRequest read(std::string_view& rest) {
  WireRequest request;
  readRequestLine(takeLine(rest), request);
  for (auto line = takeLine(rest); !line.empty(); line = takeLine(rest)) readField(line, request);
  const auto lengths = request.values("content-length");
  const auto codings = request.values("transfer-encoding");
  if (lengths.size() + codings.size() > 1) throw NoRequest{"two ways to find the end"};
  if (!lengths.empty()) request.body = takeBytes(rest, numberOf(lengths[0], 10));
  if (!codings.empty() && codings[0] != "chunked") throw NoRequest{"unknown framing"};
  if (!codings.empty()) readChunks(rest, request);
  return request;
}

// Letters, digits and what may stand for itself in an encoded text.
bool isUnencoded(char c) {
  const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  return isLetter || std::string_view("-._~").find(c) != std::string_view::npos;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned byte = 0;
    const char* const digits = text.data() + i + 1;
    if (isUnencoded(text[i])) {
      result += text[i];
    } else if (text[i] == '%' && text.size() - i > 2 &&
               std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      result += static_cast<char>(byte);
      i += 2;
    } else {
      return std::nullopt;
    }
  }
  return result;
}

}  // namespace

std::vector<std::string> WireRequest::values(std::string_view name) const {
  std::vector<std::string> found;
  for (const auto& [fieldName, value] : fields) {
    if (fieldName == name) found.push_back(value);
  }
  return found;
}

std::optional<WireRequest> takeRequest(std::string& bytes) {
  std::string_view rest = bytes;
  try {
    WireRequest request = read(rest);
    bytes.erase(0, bytes.size() - rest.size());
    return request;
  } catch (const More&) {
    return std::nullopt;
  }
}

std::optional<TextPairs> readUrlEncoded(std::string_view text) {
  TextPairs pairs;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('&'), text.size());
    const std::string_view pair = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t sign = pair.find('=');
    if (sign == std::string_view::npos) return std::nullopt;
    auto name = percentDecoded(pair.substr(0, sign));
    auto value = percentDecoded(pair.substr(sign + 1));
    if (!name || !value) return std::nullopt;
    pairs.emplace_back(std::move(*name), std::move(*value));
  }
  return pairs;
}

std::string stripped(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return "";
  return std::string(text.substr(begin, text.find_last_not_of(" \t") + 1 - begin));
}

}  // namespace fuzz
