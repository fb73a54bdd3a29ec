#include "plugin/log_format.h"

#include <gtest/gtest.h>

namespace com::corvane::connectivity10_15_0 {

TEST(LogFormatTest, TextTakesStringsAndCharacterPointers) {
  EXPECT_TRUE((logFormatFits<const char*>("%s")));
  EXPECT_TRUE((logFormatFits<char*>("%s")));
  EXPECT_TRUE((logFormatFits<char[4]>("%s")));
  EXPECT_TRUE((logFormatFits<std::string>("%s")));
}

TEST(LogFormatTest, TextRefusesWhatHasNoTerminator) {
  EXPECT_FALSE((logFormatFits<std::string_view>("%s")));
  EXPECT_FALSE((logFormatFits<char>("%s")));
  EXPECT_FALSE((logFormatFits<void*>("%s")));
  EXPECT_FALSE((logFormatFits<std::int64_t>("%s")));
}

TEST(LogFormatTest, Signed32TakesSignedIntegersOfAtMost32Bits) {
  for (const char* format : {"%d", "%I32d"}) {
    EXPECT_TRUE((logFormatFits<std::int32_t>(format))) << format;
    EXPECT_TRUE((logFormatFits<std::int16_t>(format))) << format;
    EXPECT_TRUE((logFormatFits<std::int8_t>(format))) << format;
    EXPECT_FALSE((logFormatFits<std::int64_t>(format))) << format;
    EXPECT_FALSE((logFormatFits<std::uint32_t>(format))) << format;
    EXPECT_FALSE((logFormatFits<bool>(format))) << format;
    EXPECT_FALSE((logFormatFits<char>(format))) << format;
    EXPECT_FALSE((logFormatFits<std::string>(format))) << format;
  }
}

TEST(LogFormatTest, Signed64TakesNothingElse) {
  EXPECT_TRUE((logFormatFits<std::int64_t>("%I64d")));
  EXPECT_TRUE((logFormatFits<long long>("%I64d")));
  EXPECT_FALSE((logFormatFits<std::int32_t>("%I64d")));
  EXPECT_FALSE((logFormatFits<std::uint64_t>("%I64d")));
  EXPECT_FALSE((logFormatFits<double>("%I64d")));
}

TEST(LogFormatTest, Unsigned64TakesNothingElse) {
  EXPECT_TRUE((logFormatFits<std::uint64_t>("%I64u")));
  EXPECT_TRUE((logFormatFits<unsigned long long>("%I64u")));
  EXPECT_FALSE((logFormatFits<std::uint32_t>("%I64u")));
  EXPECT_FALSE((logFormatFits<std::int64_t>("%I64u")));
  EXPECT_FALSE((logFormatFits<bool>("%I64u")));
}

TEST(LogFormatTest, RefusesConversionsThatTheHostDoesNotKnow) {
  EXPECT_FALSE((logFormatFits<std::uint64_t>("%zu")));
  EXPECT_FALSE((logFormatFits<std::uint64_t>("%lu")));
  EXPECT_FALSE((logFormatFits<std::uint64_t>("%I64x")));
  EXPECT_FALSE((logFormatFits<std::int32_t>("%5d")));
  EXPECT_FALSE((logFormatFits<std::int32_t>("%i")));
  EXPECT_FALSE((logFormatFits<double>("%g")));
  EXPECT_FALSE((logFormatFits<>("100%")));
}

TEST(LogFormatTest, WantsOneArgumentForEachConversionInOrder) {
  EXPECT_TRUE((logFormatFits<>("no conversion")));
  EXPECT_TRUE((logFormatFits<std::string, std::int32_t, std::int64_t, std::uint64_t>(
      "%s is %d, %I64d and %I64u")));
  EXPECT_FALSE((logFormatFits<std::string, std::int32_t>("%d %s")));
  EXPECT_FALSE((logFormatFits<std::string>("%s %s")));
  EXPECT_FALSE((logFormatFits<std::string, std::string>("%s")));
  EXPECT_FALSE((logFormatFits<std::string>("no conversion")));
}

TEST(LogFormatTest, DoubledPerCentSignTakesNoArgument) {
  EXPECT_TRUE((logFormatFits<>("100%%")));
  EXPECT_TRUE((logFormatFits<std::string>("%%s %s %%")));
  EXPECT_FALSE((logFormatFits<std::string>("%%s")));
}

TEST(LineFormatTest, PutsThePrefixBeforeTheLongestFormat) {
  const std::string prefix(LineFormat::kPrefixBytesMax, 'p');
  const std::string longest(kLogFormatBytesMax, 'f');

  EXPECT_EQ(LineFormat(prefix, longest).text(), prefix + longest);
  EXPECT_STREQ(LineFormat("", "").text(), "");
}

}  // namespace com::corvane::connectivity10_15_0
