// http/decompressed.h : undoes a compression with zlib itself, for tests of what was compressed.
#pragma once

#include <zlib.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace com::corvane::connectivity::plugins {

constexpr int kGzipWindow = 15 + 16;
constexpr int kZlibWindow = 15;

/// The content of exactly one stream of the format; std::runtime_error when it is another format,
/// does not end, or when anything follows it.
inline std::string decompressed(std::string_view bytes, int window) {
  z_stream stream{};
  if (inflateInit2(&stream, window) != Z_OK) throw std::runtime_error("inflateInit2");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::string result;
  int status = Z_OK;
  while (status == Z_OK) {
    char piece[4096];
    stream.next_out = reinterpret_cast<Bytef*>(piece);
    stream.avail_out = sizeof(piece);
    status = inflate(&stream, Z_NO_FLUSH);
    result.append(piece, sizeof(piece) - stream.avail_out);
  }
  const bool isWhole = status == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  if (!isWhole) throw std::runtime_error("not exactly one compressed stream");
  return result;
}

}  // namespace com::corvane::connectivity::plugins
