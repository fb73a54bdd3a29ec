#include "config/converters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/list.h"
#include "model/map.h"

namespace com::corvane::connectivity10_15_0 {

using testing::StrEq;
using testing::ThrowsMessage;

// A value that does not own its text, as only the host makes them.
data_t borrowed(const char* text) {
  kel_data raw{};
  raw.payload.string = const_cast<char*>(text);
  raw.tag = KEL_TAG_BORROWED_STRING;
  return data_t::adopt(raw);
}

std::int64_t integer(const data_t& value) { return integerConverter().convert(value); }

bool boolean(const data_t& value) { return booleanConverter().convert(value); }

TEST(StringConverterTest, TakesOwnedAndBorrowedStrings) {
  EXPECT_EQ(stringConverter().description, "a string");
  EXPECT_EQ(stringConverter().convert(data_t("text")), "text");
  EXPECT_EQ(stringConverter().convert(borrowed("text")), "text");
  EXPECT_EQ(stringConverter().convert(data_t("")), "");
}

TEST(StringConverterTest, RefusesEveryOtherKindByTypedAccess) {
  const auto convert = stringConverter().convert;

  EXPECT_THAT([&] { convert(data_t(std::int64_t{1})); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Incorrect type in get (you asked for string but it's actually integer)")));
  EXPECT_THAT([&] { convert(data_t()); },
              ThrowsMessage<std::runtime_error>(StrEq("Get from empty")));
}

TEST(IntegerConverterTest, TakesIntegers) {
  EXPECT_EQ(integerConverter().description, "an integer");
  EXPECT_EQ(integer(data_t(std::int64_t{0})), 0);
  EXPECT_EQ(integer(data_t(std::numeric_limits<std::int64_t>::min())),
            std::numeric_limits<std::int64_t>::min());
}

TEST(IntegerConverterTest, TakesStringsOfDigitsWithAnOptionalSign) {
  EXPECT_EQ(integer(data_t("12")), 12);
  EXPECT_EQ(integer(data_t("+12")), 12);
  EXPECT_EQ(integer(data_t("-12")), -12);
  EXPECT_EQ(integer(data_t("0012")), 12);
  EXPECT_EQ(integer(data_t("-0")), 0);
  EXPECT_EQ(integer(borrowed("+7")), 7);
}

TEST(IntegerConverterTest, TakesStringsAsFarAsTheyFitIn64Bits) {
  EXPECT_EQ(integer(data_t("9223372036854775807")), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(integer(data_t("-9223372036854775808")), std::numeric_limits<std::int64_t>::min());
  EXPECT_THROW(integer(data_t("9223372036854775808")), std::runtime_error);
  EXPECT_THROW(integer(data_t("-9223372036854775809")), std::runtime_error);
  EXPECT_THROW(integer(data_t("99999999999999999999")), std::runtime_error);
}

TEST(IntegerConverterTest, RefusesStringsThatAreMoreOrLessThanANumber) {
  for (const char* text : {"", "+", "-", "+-1", "-+1", "++1", "--1", " 1", "1 ", "1.0", "1e3",
                           "0x10", "1,000", "twelve", "true"}) {
    EXPECT_THROW(integer(data_t(text)), std::runtime_error) << '"' << text << '"';
  }
}

TEST(IntegerConverterTest, RefusesOtherKindsByTypedAccess) {
  EXPECT_THAT([] { integer(data_t(12.0)); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Incorrect type in get (you asked for integer but it's actually double)")));
  EXPECT_THAT([] { integer(data_t(true)); },
              ThrowsMessage<std::runtime_error>(StrEq(
                  "Incorrect type in get (you asked for integer but it's actually boolean)")));
  EXPECT_THAT([] { integer(data_t(map_t())); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Incorrect type in get (you asked for integer but it's actually map)")));
  EXPECT_THAT([] { integer(data_t()); },
              ThrowsMessage<std::runtime_error>(StrEq("Get from empty")));
}

TEST(BooleanConverterTest, TakesBooleans) {
  EXPECT_EQ(booleanConverter().description, "a boolean");
  EXPECT_TRUE(boolean(data_t(true)));
  EXPECT_FALSE(boolean(data_t(false)));
}

TEST(BooleanConverterTest, TakesTheTwoWordsInAnyLetterCase) {
  for (const char* text : {"true", "TRUE", "True", "tRuE"}) {
    EXPECT_TRUE(boolean(data_t(text))) << text;
    EXPECT_TRUE(boolean(borrowed(text))) << text;
  }
  for (const char* text : {"false", "FALSE", "False", "fAlSe"}) {
    EXPECT_FALSE(boolean(data_t(text))) << text;
    EXPECT_FALSE(boolean(borrowed(text))) << text;
  }
}

TEST(BooleanConverterTest, RefusesEverythingElse) {
  const auto isNoBool = ThrowsMessage<std::runtime_error>(StrEq("not a bool"));
  for (const char* text : {"yes", "no", "1", "0", "", " true", "true ", "truee", "on"}) {
    EXPECT_THAT([&] { boolean(data_t(text)); }, isNoBool) << '"' << text << '"';
  }
  EXPECT_THAT([] { boolean(data_t(std::int64_t{1})); }, isNoBool);
  EXPECT_THAT([] { boolean(data_t(1.0)); }, isNoBool);
  EXPECT_THAT([] { boolean(data_t()); }, isNoBool);
}

TEST(IntegerAtLeastTest, TakesTheMinimumAndRefusesWhatIsBelow) {
  const auto converter = integerAtLeast(1);

  EXPECT_EQ(converter.description, "at least 1");
  EXPECT_EQ(converter.convert(data_t(std::int64_t{1})), 1);
  EXPECT_EQ(converter.convert(data_t("+2")), 2);
  const auto isOutside = ThrowsMessage<std::runtime_error>(StrEq("not in the range"));
  EXPECT_THAT([&] { converter.convert(data_t(std::int64_t{0})); }, isOutside);
  EXPECT_THAT([&] { converter.convert(data_t("-5")); }, isOutside);
}

TEST(PortConverterTest, TakesPortsAndRefusesTheirNeighbours) {
  const auto converter = portConverter();

  EXPECT_EQ(converter.description, "between 1 and 65535");
  EXPECT_EQ(converter.convert(data_t(std::int64_t{1})), 1);
  EXPECT_EQ(converter.convert(data_t(std::int64_t{65535})), 65535);
  EXPECT_EQ(converter.convert(data_t("8080")), 8080);
  const auto isOutside = ThrowsMessage<std::runtime_error>(StrEq("not in the range"));
  for (const std::int64_t port :
       {std::int64_t{0}, std::int64_t{65536}, std::int64_t{-1},
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_THAT([&] { converter.convert(data_t(port)); }, isOutside) << port;
  }
}

TEST(EnumerationConverterTest, GivesTheLowerCasedTextWhateverTheCase) {
  const auto converter = enumerationConverter({"none", "HTTP_BASIC"});

  for (const char* text : {"HTTP_BASIC", "Http_Basic", "http_basic"}) {
    EXPECT_EQ(converter.convert(data_t(text)), "http_basic") << text;
    EXPECT_EQ(converter.convert(borrowed(text)), "http_basic") << text;
  }
  EXPECT_EQ(converter.convert(data_t("NONE")), "none");
}

TEST(EnumerationConverterTest, RefusesOtherTexts) {
  const auto converter = enumerationConverter({"none", "HTTP_BASIC"});

  for (const char* text : {"", "basic", "none ", "HTTP BASIC", "HTTP_DIGEST"}) {
    EXPECT_THAT([&] { converter.convert(data_t(text)); },
                ThrowsMessage<std::runtime_error>(StrEq("not in the enumeration")))
        << '"' << text << '"';
  }
}

TEST(EnumerationConverterTest, RefusesOtherKindsByTypedAccess) {
  EXPECT_THAT([] { enumerationConverter({"none"}).convert(data_t(false)); },
              ThrowsMessage<std::runtime_error>(
                  StrEq("Incorrect type in get (you asked for string but it's actually boolean)")));
}

TEST(EnumerationConverterTest, DescriptionListsTheNamesInOrder) {
  EXPECT_EQ(enumerationConverter({"none"}).description, "none");
  EXPECT_EQ(enumerationConverter({"none", "HTTP_BASIC"}).description, "none or HTTP_BASIC");
  EXPECT_EQ(enumerationConverter({"a", "b", "C"}).description, "a, b or C");
}

}  // namespace com::corvane::connectivity10_15_0
