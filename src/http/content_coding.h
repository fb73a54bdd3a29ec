// http/content_coding.h : the content codings that requests and responses may name.
//
// Source: RFC 9110, section 8.4.1: "gzip" is the gzip format (RFC 1952), "deflate" the zlib format
//         (RFC 1950). The names are matched exactly, letter case included: "GZip" is unsupported.
#pragma once

#include <optional>
#include <string_view>

namespace com::corvane::connectivity::plugins {

enum class ContentCoding { Identity, Gzip, Deflate };

/// The coding of a request body by its Content-Encoding value; none: it is not supported.
inline std::optional<ContentCoding> requestCoding(std::string_view name) {
  if (name == "identity") return ContentCoding::Identity;
  if (name == "gzip") return ContentCoding::Gzip;
  if (name == "deflate") return ContentCoding::Deflate;
  return std::nullopt;
}

/// The same of a response body, where "empty" stands for no such header.
inline std::optional<ContentCoding> responseCoding(std::string_view name) {
  return name == "empty" ? ContentCoding::Identity : requestCoding(name);
}

}  // namespace com::corvane::connectivity::plugins
