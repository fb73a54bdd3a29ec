#include "support/deflated.h"

#include <gtest/gtest.h>

#include "http/decompressed.h"

namespace test_support {
namespace {

using com::corvane::connectivity::plugins::decompressed;

TEST(DeflatedTest, MakesEachFormat) {
  const std::string gzip = deflated("text", DeflateFormat::Gzip);
  const std::string zlib = deflated("text", DeflateFormat::Zlib);
  const std::string raw = deflated("text", DeflateFormat::Raw);

  EXPECT_EQ(decompressed(gzip, 15 + 16), "text");
  EXPECT_EQ(decompressed(zlib, 15), "text");
  EXPECT_EQ(decompressed(raw, -15), "text");
}

TEST(DeflatedTest, MakesAStreamOfNoText) {
  EXPECT_EQ(decompressed(deflated("", DeflateFormat::Gzip), 15 + 16), "");
}

}  // namespace
}  // namespace test_support
