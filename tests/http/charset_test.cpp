#include "http/charset.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace com::corvane::connectivity::plugins {
namespace {

// ICU's own answer, for comparison with the paths that do not ask it.
std::string icu(const std::string& text, const char* from, const char* to) {
  return charset::convert(text.c_str(), from, to, 4 * text.size() + 8).get();
}

TEST(CharsetTest, ConvertsLatin1ToUtf8AsIcuDoesForEveryByte) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string text = {'a', static_cast<char>(byte), 'z'};

    EXPECT_EQ(charset::latin1ToUtf8(text.c_str()).get(), icu(text, "iso8859-1", "UTF-8")) << byte;
  }
}

TEST(CharsetTest, ConvertsUtf8ToLatin1AsIcuDoesForEveryCharacterOfTheSet) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string latin1(1, static_cast<char>(byte));
    const std::string utf8 = icu(latin1, "iso8859-1", "UTF-8");

    EXPECT_EQ(charset::utf8ToLatin1(utf8.c_str()).get(), latin1) << byte;
  }
}

TEST(CharsetTest, CarriesAnAccentThereAndBack) {
  const std::string latin1 = charset::utf8ToLatin1("caf\xC3\xA9").get();

  EXPECT_EQ(latin1, "caf\xE9");
  EXPECT_STREQ(charset::latin1ToUtf8(latin1.c_str()).get(), "caf\xC3\xA9");
}

TEST(CharsetTest, SubstitutesWhatLatin1DoesNotHave) {
  EXPECT_STREQ(charset::utf8ToLatin1("x\xE4\xB8\xADy").get(), "x\x1Ay");
}

TEST(CharsetTest, ConvertsEmptyText) {
  EXPECT_STREQ(charset::latin1ToUtf8("").get(), "");
  EXPECT_STREQ(charset::utf8ToLatin1("").get(), "");
}

TEST(CharsetTest, ConvertsFromANamedSetToUtf8) {
  EXPECT_STREQ(charset::toUtf8("\xA4", "iso8859-15").get(), "\xE2\x82\xAC");
}

TEST(CharsetTest, NamesBothSetsWhenAConversionFails) {
  try {
    charset::convert("x", "no-such-set", "UTF-8", 16);
    FAIL() << "an unknown set was accepted";
  } catch (const std::runtime_error& failure) {
    EXPECT_STREQ(failure.what(), "Could not convert argument from no-such-set to UTF-8");
  }
}

TEST(CharsetTest, SubstitutesWhatIsNoUtf8) {
  EXPECT_STREQ(charset::utf8ToLatin1("a\xFFz").get(), "a\x1Az");
}

TEST(CharsetTest, KeepsAResultThatLeavesNoRoomForItsEnd) {
  const auto text = charset::convert("four", "UTF-8", "iso8859-1", 4);

  EXPECT_EQ(std::string(text.get(), 4), "four");
}

TEST(CharsetTest, FailsWhenTheResultDoesNotFit) {
  EXPECT_THROW(charset::convert("four", "UTF-8", "iso8859-1", 2), std::runtime_error);
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
