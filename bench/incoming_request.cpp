#include "bench/incoming_request.h"

#include <algorithm>
#include <charconv>

namespace bench {
namespace {

constexpr std::size_t kHeadBytesMax = 16 * 1024;
constexpr std::size_t kReadBytes = 64 * 1024;

template <class Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

bool isNamed(std::string_view name, std::string_view lower) {
  return std::equal(name.begin(), name.end(), lower.begin(), lower.end(), [](char a, char b) {
    return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
  });
}

}  // namespace

IncomingRequest parseHead(std::string_view head) {
  constexpr std::string_view kPath = " /bench/";
  constexpr std::string_view kVersion = " HTTP/1.1";
  IncomingRequest request;
  const std::string_view line = head.substr(0, head.find("\r\n"));
  const std::size_t path = line.find(kPath);
  if (path == std::string_view::npos || !line.ends_with(kVersion)) return request;
  const std::size_t id = path + kPath.size();
  request.id =
      wholeNumber<std::uint64_t>(line.substr(id, line.size() - kVersion.size() - id)).value_or(0);
  head.remove_prefix(std::min(head.size(), line.size() + 2));
  while (!head.empty()) {
    const std::string_view field = head.substr(0, head.find("\r\n"));
    head.remove_prefix(std::min(head.size(), field.size() + 2));
    const std::size_t colon = field.find(": ");
    if (colon == std::string_view::npos) return IncomingRequest{};
    const std::string_view name = field.substr(0, colon);
    const std::string_view value = field.substr(colon + 2);
    if (isNamed(name, "content-length"))
      request.bodyBytes = wholeNumber<std::size_t>(value).value();
    if (isNamed(name, "x-order")) request.order = wholeNumber<std::size_t>(value);
    if (isNamed(name, "x-checksum")) request.checksum = value;
  }
  return request;
}

bool RequestSource::fill() {
  bytes_.erase(0, taken_);
  taken_ = 0;
  const std::size_t held = bytes_.size();
  bytes_.resize(held + kReadBytes);
  const std::size_t count = socket_.receive(bytes_.data() + held, kReadBytes);
  bytes_.resize(held + count);
  return count > 0;
}

std::optional<IncomingRequest> RequestSource::nextHead() {
  constexpr std::string_view kEnd = "\r\n\r\n";
  while (true) {
    const std::string_view rest = std::string_view(bytes_).substr(taken_);
    const std::size_t end = rest.find(kEnd);
    if (end != std::string_view::npos) {
      taken_ += end + kEnd.size();
      return parseHead(rest.substr(0, end));
    }
    if (rest.size() > kHeadBytesMax) return IncomingRequest{};
    if (!fill()) return rest.empty() ? std::nullopt : std::optional(IncomingRequest{});
  }
}

std::optional<std::string_view> RequestSource::body(const IncomingRequest& request) {
  while (bytes_.size() - taken_ < request.bodyBytes) {
    if (!fill()) return std::nullopt;
  }
  const std::string_view body = std::string_view(bytes_).substr(taken_, request.bodyBytes);
  taken_ += request.bodyBytes;
  return body;
}

void RequestSource::drain() {
  do {
    taken_ = bytes_.size();
  } while (fill());
}

}  // namespace bench
