#include "support/deflated.h"

#include <zlib.h>

#include <stdexcept>

namespace test_support {

namespace {

// The window's size is the largest; 16 more ask for the gzip format, a negative sign for none.
int windowBits(DeflateFormat format) {
  switch (format) {
    case DeflateFormat::Gzip:
      return 15 + 16;
    case DeflateFormat::Zlib:
      return 15;
    case DeflateFormat::Raw:
      return -15;
  }
  throw std::logic_error("no such format");
}

}  // namespace

std::string deflated(const std::string& text, DeflateFormat format) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowBits(format), 8,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::runtime_error("zlib refuses to begin");
  }
  std::string result(deflateBound(&stream, text.size()) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  const int end = deflate(&stream, Z_FINISH);
  result.resize(stream.total_out);
  deflateEnd(&stream);
  if (end != Z_STREAM_END) throw std::runtime_error("zlib does not come to an end");
  return result;
}

}  // namespace test_support
