#include "support/deflated.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <stdexcept>

namespace test_support {
namespace {

std::string inflated(const std::string& bytes, int windowBits) {
  z_stream stream{};
  if (inflateInit2(&stream, windowBits) != Z_OK) throw std::runtime_error("zlib refuses");
  std::string result(1000, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0u);
  result.resize(stream.total_out);
  inflateEnd(&stream);
  return result;
}

TEST(DeflatedTest, MakesEachFormat) {
  const std::string gzip = deflated("text", DeflateFormat::Gzip);
  const std::string zlib = deflated("text", DeflateFormat::Zlib);
  const std::string raw = deflated("text", DeflateFormat::Raw);

  EXPECT_EQ(inflated(gzip, 15 + 16), "text");
  EXPECT_EQ(inflated(zlib, 15), "text");
  EXPECT_EQ(inflated(raw, -15), "text");
}

TEST(DeflatedTest, MakesAStreamOfNoText) {
  EXPECT_EQ(inflated(deflated("", DeflateFormat::Gzip), 15 + 16), "");
}

}  // namespace
}  // namespace test_support
