// support/request_reader.h : reads HTTP/1.x requests byte by byte and refuses all that is not
// exactly in form, so that a test sees what a client really sent.
//
// Threads:   one thread only.
// Errors:    MalformedRequest for bytes out of form, TruncatedRequest when they end too early.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace test_support {

struct HttpRequest {
  using Fields = std::vector<std::pair<std::string, std::string>>;

  std::string method;
  std::string target;
  std::string version;  // "HTTP/1.1"
  Fields headers;       // as sent, in the order sent; blanks around a value are not part of it
  std::string body;     // without the chunks' framing
  Fields trailers;
  std::vector<std::size_t> chunkBytes;  // sizes of the chunks, the last one of 0 apart
  std::string raw;                      // all bytes of the request, from the first to the last
  std::size_t connection = 0;           // index of the connection that it came in on

  /// The values of all headers with this name, whatever its case, in the order sent.
  std::vector<std::string> values(std::string_view name) const;

  /// The value of the only header with this name. Throws std::logic_error when there are none or
  /// several.
  std::string value(std::string_view name) const;

  bool has(std::string_view name) const { return !values(name).empty(); }
};

class MalformedRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class TruncatedRequest : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class RequestReader {
 public:
  /// Gives the next bytes, at least one; none: the stream has ended.
  using Source = std::function<std::string()>;

  explicit RequestReader(Source source) : source_(std::move(source)) {}

  /// Request line and headers. None: the stream ended before the first byte.
  std::optional<HttpRequest> readHead();

  /// The body that the headers announce, by length or in chunks, into the same request.
  void readBody(HttpRequest& request);

  /// Bytes taken from the source that belong to no request so far.
  const std::string& leftover() const { return buffer_; }

  /// Takes the next bytes, whatever they are; empty: the stream has ended.
  std::string readSome();

 private:
  std::string takeLine(HttpRequest& request);
  std::string takeBytes(HttpRequest& request, std::size_t count);
  void readFields(HttpRequest& request, HttpRequest::Fields& fields);
  void readChunks(HttpRequest& request);
  bool fill();

  Source source_;
  std::string buffer_;
};

}  // namespace test_support
