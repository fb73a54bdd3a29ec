#include "runtime/decimal64.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace com::orvex {
namespace {

std::string textOf(decimal64 number) {
  std::array<char, decimal64::kTextBytes> buffer{};
  return number.toString(buffer.data());
}

std::string textOf(std::uint64_t bits) { return textOf(decimal64::fromBits(bits)); }

struct Pair {
  std::string name;
  std::uint64_t bits;
  std::string text;
};

std::string nameOf(const testing::TestParamInfo<Pair>& info) { return info.param.name; }

// Bits and text that lead to each other in both directions. The bits are those that the compiler's
// own decimal literals have.
class Decimal64PairTest : public testing::TestWithParam<Pair> {};

TEST_P(Decimal64PairTest, IsWrittenAsItsText) {
  EXPECT_EQ(textOf(GetParam().bits), GetParam().text);
}

TEST_P(Decimal64PairTest, IsReadFromItsText) {
  const std::optional<decimal64> number = decimal64::fromText(GetParam().text);

  ASSERT_TRUE(number);
  EXPECT_EQ(number->bits(), GetParam().bits);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Decimal64PairTest,
    testing::Values(
        Pair{"Zero", 0x31C0000000000000, "0"}, Pair{"NegativeZero", 0xB1C0000000000000, "-0"},
        Pair{"One", 0x31C0000000000001, "1"}, Pair{"Fraction", 0x318000000000007D, "1.25"},
        Pair{"ZeroAtTheEnd", 0x3180000000000078, "1.20"},
        Pair{"NegativeFraction", 0xB18000000000007D, "-1.25"},
        Pair{"SeveralDigitsBeforeThePoint", 0x316000000001E240, "123.456"},
        Pair{"LargestSmallForm", 0x31DFFFFFFFFFFFFF, "9007199254740991"},
        Pair{"SmallestLargeForm", 0x6C70000000000000, "9007199254740992"},
        Pair{"LargestCoefficient", 0x6C7386F26FC0FFFF, "9999999999999999"},
        Pair{"LargestNumber", 0x77FB86F26FC0FFFF, "9.999999999999999E+384"},
        Pair{"SmallestNumber", 0x0000000000000001, "1E-398"},
        Pair{"LongestSmallNumber", 0xE00386F26FC0FFFF, "-9.999999999999999E-383"},
        Pair{"LargestPowerOfTen", 0x5FE0000000000001, "1E+369"},
        Pair{"LastWithoutExponent", 0x3100000000000001, "0.000001"},
        Pair{"FirstWithExponent", 0x30E0000000000001, "1E-7"},
        Pair{"LongestWithoutExponent", 0x2F2462D53C8ABAC0, "0.000001234567890123456"},
        Pair{"LongCoefficientWithExponent", 0xEBC386F26FC0FFFF, "-9.999999999999999E-7"},
        Pair{"OneDigitAndExponent", 0x3300000000000001, "1E+10"},
        Pair{"TwoDigitsAndExponent", 0x32E000000000000F, "1.5E+10"},
        Pair{"ZeroOfTheLowestPower", 0x0000000000000000, "0E-398"},
        Pair{"ZeroOfTheHighestPower", 0x5FE0000000000000, "0E+369"},
        Pair{"ZeroWithPlaces", 0x3100000000000000, "0.000000"},
        Pair{"ZeroWithExponent", 0x30E0000000000000, "0E-7"},
        Pair{"Infinity", 0x7800000000000000, "Infinity"},
        Pair{"NegativeInfinity", 0xF800000000000000, "-Infinity"},
        Pair{"QuietNan", 0x7C00000000000000, "NaN"},
        Pair{"NegativeQuietNan", 0xFC00000000000000, "-NaN"},
        Pair{"QuietNanWithPayload", 0x7C0000000000007B, "NaN123"},
        Pair{"SignalingNan", 0x7E00000000000000, "sNaN"},
        Pair{"SignalingNanWithLargestPayload", 0xFE038D7EA4C67FFF, "-sNaN999999999999999"}),
    nameOf);

// Further bits for a text: what toString reads beyond the bits that fromText makes.
class Decimal64BitsTest : public testing::TestWithParam<Pair> {};

TEST_P(Decimal64BitsTest, AreWrittenAsTheText) {
  EXPECT_EQ(textOf(GetParam().bits), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Decimal64BitsTest,
    testing::Values(Pair{"FirstCoefficientAbove16Digits", 0x6C7386F26FC10000, "0"},
                    Pair{"LargestCoefficientAbove16Digits", 0x6C77FFFFFFFFFFFF, "0"},
                    Pair{"NegativeCoefficientAbove16DigitsWithPower", 0xF7FFFFFFFFFFFFFF,
                         "-0E+369"},
                    Pair{"InfinityWithFurtherBits", 0x7BFFFFFFFFFFFFFF, "Infinity"},
                    Pair{"NanWithPayloadAbove15Digits", 0x7C038D7EA4C68000, "NaN"},
                    Pair{"NanWithFurtherBits", 0x7DFC000000000001, "NaN1"}),
    nameOf);

// Further texts for bits: spellings that toString does not use, and values made to fit.
class Decimal64TextTest : public testing::TestWithParam<Pair> {};

TEST_P(Decimal64TextTest, IsReadAsTheBits) {
  const std::optional<decimal64> number = decimal64::fromText(GetParam().text);

  ASSERT_TRUE(number) << GetParam().text;
  EXPECT_EQ(number->bits(), GetParam().bits) << GetParam().text << " is " << textOf(*number);
}

INSTANTIATE_TEST_SUITE_P(
    Spelling, Decimal64TextTest,
    testing::Values(Pair{"PlusSign", 0x31C0000000000001, "+1"},
                    Pair{"NothingBeforeThePoint", 0x31A0000000000005, ".5"},
                    Pair{"NothingBehindThePoint", 0x31C0000000000005, "5."},
                    Pair{"ZerosInFront", 0x318000000000007D, "0000000000000000000001.25"},
                    Pair{"LowerCaseExponent", 0x3300000000000001, "1e10"},
                    Pair{"ExponentWithZerosInFront", 0x3300000000000001,
                         "1E+0000000000000000000010"},
                    Pair{"ExponentOfAFraction", 0x318000000000007D, "125e-2"},
                    Pair{"Inf", 0xF800000000000000, "-inf"},
                    Pair{"UpperCaseInfinity", 0x7800000000000000, "INFINITY"},
                    Pair{"UpperCaseNan", 0x7C00000000000000, "NAN"},
                    Pair{"LowerCaseSignalingNan", 0x7E00000000000001, "snan1"},
                    Pair{"PayloadWithZeros", 0x7C00000000000064, "NaN0000000000000000100"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Fit, Decimal64TextTest,
    testing::Values(Pair{"DropsZerosBeyond16Digits", 0x31E38D7EA4C68000, "10000000000000000"},
                    Pair{"DropsPlacesBeyond16Digits", 0x2FE38D7EA4C68000, "1.00000000000000000000"},
                    Pair{"DropsZerosBelowTheLowestPower", 0x0000000000000001, "1000E-401"},
                    Pair{"DropsOnlyTheZerosItMust", 0x000000000000000A, "1000E-400"},
                    Pair{"AddsZerosAboveTheHighestPower", 0x5FE0000000000064, "1E+371"},
                    Pair{"AddsZerosUpTo16Digits", 0x5FE38D7EA4C68000, "1E+384"},
                    Pair{"ZeroBelowTheLowestPower", 0x8000000000000000, "-0E-1000"},
                    Pair{"ZeroAboveTheHighestPower", 0x5FE0000000000000, "0E+1000"},
                    Pair{"ZeroWithEndlessExponent", 0x5FE0000000000000,
                         "0E+99999999999999999999999999"},
                    Pair{"PlacesThatTheExponentTakesBack", 0x31C0000000000001,
                         "0." + std::string(999, '0') + "1E+1000"},
                    Pair{"ZerosThatTheExponentTakesBack", 0x2FE38D7EA4C68000,
                         "1" + std::string(1000, '0') + "E-1000"}),
    nameOf);

TEST(Decimal64Test, RefusesWhatItCannotKeepExactly) {
  for (const std::string_view text : std::vector<std::string_view>{
           "12345678901234567", "1.2345678901234567", "10000000000000001", "1E+385", "1.5E+385",
           "1E-399", "12E-399", "1E+99999999999999999999999999", "1E-99999999999999999999999999",
           "NaN1000000000000000"}) {
    EXPECT_FALSE(decimal64::fromText(text)) << text;
  }
}

TEST(Decimal64Test, RefusesWhatIsNoNumber) {
  for (const std::string_view text : std::vector<std::string_view>{"",
                                                                   "+",
                                                                   "-",
                                                                   "+-1",
                                                                   "--1",
                                                                   ".",
                                                                   "-.",
                                                                   "1.2.3",
                                                                   "E5",
                                                                   ".E5",
                                                                   "1E",
                                                                   "1E+",
                                                                   "1E+-5",
                                                                   "1E5.0",
                                                                   "1E5E5",
                                                                   " 1",
                                                                   "1 ",
                                                                   "1,5",
                                                                   "0x1",
                                                                   "one",
                                                                   "Infinit",
                                                                   "Infinityy",
                                                                   "infinite",
                                                                   "NaNs",
                                                                   "NaN-1",
                                                                   "NaN1.5",
                                                                   "na",
                                                                   "sInfinity",
                                                                   std::string_view("1\0", 2),
                                                                   std::string_view("\0", 1)}) {
    EXPECT_FALSE(decimal64::fromText(text)) << "'" << text << "'";
  }
}

TEST(Decimal64Test, RefusesADecimalCommaOrOtherDigits) {
  EXPECT_FALSE(decimal64::fromText("1\xD9\xA3"));
  EXPECT_FALSE(decimal64::fromText("\xEF\xBC\x91"));
}

// Every power of ten with coefficients of every length, through text and back.
TEST(Decimal64Test, EveryCanonicalNumberComesBackFromItsText) {
  for (std::uint64_t exponent = 0; exponent <= 767; ++exponent) {
    for (std::uint64_t coefficient = 9; coefficient < 10'000'000'000'000'000;
         coefficient = coefficient * 10 + 8) {
      const bool isLarge = coefficient >> 53 != 0;
      const std::uint64_t bits =
          isLarge ? std::uint64_t{3} << 61 | exponent << 51 | (coefficient & 0x7FFFFFFFFFFFF)
                  : exponent << 53 | coefficient;

      const std::string text = textOf(bits);
      const std::optional<decimal64> read = decimal64::fromText(text);

      ASSERT_TRUE(read) << text;
      ASSERT_EQ(read->bits(), bits) << text;
    }
  }
}

TEST(Decimal64Test, WritesTheLongestTextIntoABufferOfTheStatedSize) {
  // 16 digits behind the most zeros that a text without exponent has, and the sign.
  std::array<char, decimal64::kTextBytes> buffer{};

  const char* const text = decimal64::fromBits(0xAF2462D53C8ABAC0).toString(buffer.data());

  EXPECT_STREQ(text, "-0.000001234567890123456");
  EXPECT_EQ(std::strlen(text) + 1, decimal64::kTextBytes);
}

TEST(Decimal64Test, ToStringReturnsTheBuffer) {
  std::array<char, decimal64::kTextBytes> buffer{};

  EXPECT_EQ(decimal64::fromBits(0).toString(buffer.data()), buffer.data());
}

TEST(Decimal64Test, IsAPlainRecordOfEightBytes) {
  EXPECT_EQ(sizeof(decimal64), 8U);
  EXPECT_TRUE(std::is_trivially_copyable_v<decimal64>);
  EXPECT_TRUE(std::is_standard_layout_v<decimal64>);
}

}  // namespace
}  // namespace com::orvex
