#include "bench/checksum.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using bench::checksum;
using bench::checksumText;

TEST(ChecksumTest, DependsOnEveryBitOfTheBody) {
  for (const std::size_t length : {1, 7, 8, 9, 31}) {
    const std::string body(length, 'x');
    std::set<std::uint64_t> sums{checksum(1, body)};
    for (std::size_t bit = 0; bit < length * 8; ++bit) {
      std::string changed = body;
      changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
      sums.insert(checksum(1, changed));
    }
    EXPECT_EQ(sums.size(), length * 8 + 1) << "length " << length;
  }
}

TEST(ChecksumTest, DependsOnTheOrderOfTheBytes) {
  EXPECT_NE(checksum(1, "12345678abcdefgh"), checksum(1, "abcdefgh12345678"));
  EXPECT_NE(checksum(1, "ab"), checksum(1, "ba"));
}

TEST(ChecksumTest, TellsBodiesOfZerosApartByTheirLength) {
  std::set<std::uint64_t> sums;
  for (std::size_t length = 0; length < 100; ++length) {
    sums.insert(checksum(1, std::string(length, '\0')));
  }
  EXPECT_EQ(sums.size(), 100u);
}

TEST(ChecksumTest, TellsIdsWithTheSameBodyApart) {
  EXPECT_NE(checksum(1, "body"), checksum(2, "body"));
  EXPECT_NE(checksum(1, ""), checksum(2, ""));
}

TEST(ChecksumTest, IsWrittenAsSixteenDigits) {
  std::set<std::size_t> lengths;
  for (std::uint64_t id = 0; id < 100; ++id) lengths.insert(checksumText(id, "").size());
  EXPECT_EQ(lengths, std::set<std::size_t>{16});
  EXPECT_EQ(std::stoull(checksumText(5, "body"), nullptr, 16), checksum(5, "body"));
}

}  // namespace
