#include "model/murmur_hash.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "model/data.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

// The value by which implementations of the hash are told apart: the hash of the hashes of
// {}, {0}, {0,1}, ... {0..254}, with seeds 256 down to 1.
TEST(MurmurHashTest, HasThePublishedVerificationValue) {
  std::array<unsigned char, 256> key{};
  std::vector<unsigned char> hashes;

  for (std::size_t i = 0; i < key.size(); ++i) {
    key[i] = static_cast<unsigned char>(i);
    const std::uint64_t hash = murmurHash64A(key.data(), i, 256 - i);
    unsigned char bytes[sizeof(hash)];
    std::memcpy(bytes, &hash, sizeof(hash));
    hashes.insert(hashes.end(), bytes, bytes + sizeof(hash));
  }
  const std::uint64_t verification = murmurHash64A(hashes.data(), hashes.size(), 0);

  EXPECT_EQ(static_cast<std::uint32_t>(verification), 0x1F0D3804U);
}

struct KnownAnswer {
  const char* name;
  std::string bytes;
  std::uint64_t seed;
  std::uint64_t hash;
};

class MurmurHashKnownAnswerTest : public testing::TestWithParam<KnownAnswer> {};

TEST_P(MurmurHashKnownAnswerTest, IsExact) {
  const KnownAnswer& known = GetParam();

  EXPECT_EQ(murmurHash64A(known.bytes.data(), known.bytes.size(), known.seed), known.hash);
}

INSTANTIATE_TEST_SUITE_P(
    All, MurmurHashKnownAnswerTest,
    testing::Values(
        KnownAnswer{"NothingWithSeedZero", "", 0, 0},
        KnownAnswer{"NothingWithMapSeed", "", kMapSeed, 0xE36925AE8296B197},
        KnownAnswer{"OneByte", "a", kMapSeed, 0x60455235038D56CB},
        KnownAnswer{"SevenBytes", "abcdefg", kMapSeed, 0x4D429708E1539F28},
        KnownAnswer{"OneWord", "abcdefgh", kMapSeed, 0x968BD476756E86B6},
        KnownAnswer{"OneWordAndAByte", "abcdefghi", kMapSeed, 0x6B2E80D363A63268},
        KnownAnswer{"HighBytes", "\xFF\xFF\xFF\xFF\xFF\xFF\xFF", kMapSeed, 0xD21A5C9B6B8C50DF},
        KnownAnswer{"AllOnesSeed", "The quick brown fox", ~std::uint64_t{0}, 0x8447AA16CD955A39},
        KnownAnswer{"ManyWords", "The quick brown fox jumps over the lazy dog", 0,
                    0x5589CA33042A861B}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
