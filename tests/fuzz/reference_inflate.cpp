#include "fuzz/reference_inflate.h"

#include <zlib.h>

#include <stdexcept>

namespace fuzz {

namespace {

// Decodes one stream from the front of `body`, which it takes off.
std::optional<std::string> inflatedStream(std::string_view& body, int window) {
  z_stream stream{};
  if (inflateInit2(&stream, window) != Z_OK) throw std::runtime_error("zlib refuses to begin");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.data()));
  stream.avail_in = static_cast<uInt>(body.size());
  std::string result;
  int state = Z_BUF_ERROR;
  do {
    const std::size_t before = result.size();
    result.resize(before * 2 + 1024);
    stream.next_out = reinterpret_cast<Bytef*>(result.data() + before);
    stream.avail_out = static_cast<uInt>(result.size() - before);
    state = inflate(&stream, Z_FINISH);
  } while (state == Z_BUF_ERROR && stream.avail_out == 0);
  result.resize(stream.total_out);
  body.remove_prefix(body.size() - stream.avail_in);
  inflateEnd(&stream);
  if (state != Z_STREAM_END) return std::nullopt;
  return result;
}

}  // namespace

std::optional<std::string> inflatedGzip(std::string_view body) {
  std::string result;
  bool isFirst = true;
  while (!body.empty() && (isFirst || body.starts_with("\x1F\x8B"))) {
    const auto member = inflatedStream(body, MAX_WBITS + 16);
    if (!member) return std::nullopt;
    result += *member;
    isFirst = false;
  }
  return result;
}

std::optional<std::string> inflatedDeflate(std::string_view body) {
  if (body.empty()) return std::string();
  std::string_view rest = body;
  if (auto result = inflatedStream(rest, MAX_WBITS)) return result;
  return inflatedStream(body, -MAX_WBITS);
}

}  // namespace fuzz
