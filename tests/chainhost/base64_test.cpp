#include "chainhost/base64.h"

#include <gtest/gtest.h>

#include <string>

namespace chainhost {
namespace {

struct Pair {
  const char* name;
  std::string bytes;
  std::string text;
};

class Base64PairTest : public testing::TestWithParam<Pair> {};

TEST_P(Base64PairTest, IsEncoded) {
  TextBuffer text;
  text += "before ";

  appendBase64(text, GetParam().bytes);

  EXPECT_EQ(text.view(), "before " + GetParam().text);
}

TEST_P(Base64PairTest, IsDecoded) { EXPECT_EQ(decodeBase64(GetParam().text), GetParam().bytes); }

INSTANTIATE_TEST_SUITE_P(
    Pairs, Base64PairTest,
    testing::Values(Pair{"Nothing", "", ""}, Pair{"OneByte", "f", "Zg=="},
                    Pair{"TwoBytes", "fo", "Zm8="}, Pair{"ThreeBytes", "foo", "Zm9v"},
                    Pair{"SixBytes", "foobar", "Zm9vYmFy"},
                    Pair{"LastDigits", std::string("\xFB\xFF\xBF\x00", 4), "+/+/AA=="}),
    [](const auto& param) { return param.param.name; });

struct Refused {
  const char* name;
  std::string text;
};

class Base64RefusedTest : public testing::TestWithParam<Refused> {};

TEST_P(Base64RefusedTest, IsNotDecoded) { EXPECT_EQ(decodeBase64(GetParam().text), std::nullopt); }

INSTANTIATE_TEST_SUITE_P(
    Texts, Base64RefusedTest,
    testing::Values(Refused{"NoPadding", "Zg"}, Refused{"ShortPadding", "Zg="},
                    Refused{"PaddingAlone", "===="}, Refused{"TooMuchPadding", "Z==="},
                    Refused{"PaddingInside", "Zg==Zm9v"}, Refused{"UnusedBitsOfOneByte", "Zh=="},
                    Refused{"UnusedBitsOfTwoBytes", "Zm9="}, Refused{"Blank", "Zm9 "},
                    Refused{"LineFeed", "Zm9v\n"}, Refused{"UrlAlphabet", "-_-_"},
                    Refused{"HighByte", "Zm9\xFF"}, Refused{"Nul", std::string("Zm9\0", 4)}),
    [](const auto& param) { return param.param.name; });

TEST(Base64Test, ComesBackAcrossThePiecesOfALargeText) {
  std::string bytes(7'000'001, '\0');
  for (std::size_t index = 0; index < bytes.size(); ++index) {
    bytes[index] = static_cast<char>(index * 31 >> 3);
  }
  TextBuffer text;

  appendBase64(text, bytes);

  EXPECT_TRUE(decodeBase64(text.view()) == bytes);
}

}  // namespace
}  // namespace chainhost
