#include "config/extraction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/get.h"
#include "model/list.h"

namespace com::corvane::connectivity10_15_0 {

using testing::StrEq;
using testing::ThrowsMessage;

class ExtractionTest : public testing::Test {
 protected:
  void put(const char* key, data_t value) { working_.insert(data_t(key), std::move(value)); }

  // {group: {key: value}}
  void putNested(const char* group, const char* key, data_t value) {
    map_t map;
    map.insert(data_t(key), std::move(value));
    put(group, data_t(std::move(map)));
  }

  bool has(const char* key) { return working_.find(key) != working_.end(); }

  template <typename T>
  T extract(const std::string& key, const Converter<T>& converter, T defaultValue) {
    return extractConfig(working_, kOwner, key, converter, std::optional(defaultValue));
  }

  static auto refusal(const char* text) { return ThrowsMessage<std::runtime_error>(StrEq(text)); }

  static constexpr const char* kOwner = "Owner";
  map_t working_;
};

TEST_F(ExtractionTest, PresentElementIsConvertedAndRemoved) {
  put("count", data_t("12"));
  put("other", data_t("stays"));

  EXPECT_EQ(extract<std::int64_t>("count", integerConverter(), 5), 12);

  EXPECT_FALSE(has("count"));
  EXPECT_TRUE(has("other"));
}

TEST_F(ExtractionTest, AbsentElementGivesTheDefault) {
  EXPECT_EQ(extract<std::int64_t>("count", integerConverter(), 5), 5);
  EXPECT_EQ(extract<std::string>("text", stringConverter(), "default"), "default");
}

TEST_F(ExtractionTest, AbsentRequiredElementIsRefused) {
  EXPECT_THAT(
      [&] {
        extractConfig(working_, kOwner, "host", stringConverter(), std::optional<std::string>());
      },
      refusal("Owner missing required configuration element host"));
}

TEST_F(ExtractionTest, PresentRequiredElementIsTaken) {
  put("host", data_t("example"));

  EXPECT_EQ(
      extractConfig(working_, kOwner, "host", stringConverter(), std::optional<std::string>()),
      "example");
}

TEST_F(ExtractionTest, EveryFailedConversionIsWordedWithTheDescription) {
  put("string", data_t(true));
  put("integer", data_t(12.0));
  put("boolean", data_t("yes"));
  put("atLeast", data_t(std::int64_t{0}));
  put("port", data_t(std::int64_t{65536}));
  put("enumeration", data_t("other"));
  put("empty", data_t());

  EXPECT_THAT([&] { extract<std::string>("string", stringConverter(), ""); },
              refusal("Owner configuration string must be a string"));
  EXPECT_THAT([&] { extract<std::int64_t>("integer", integerConverter(), 0); },
              refusal("Owner configuration integer must be an integer"));
  EXPECT_THAT([&] { extract<bool>("boolean", booleanConverter(), false); },
              refusal("Owner configuration boolean must be a boolean"));
  EXPECT_THAT([&] { extract<std::int64_t>("atLeast", integerAtLeast(1), 1); },
              refusal("Owner configuration atLeast must be at least 1"));
  EXPECT_THAT([&] { extract<std::int64_t>("port", portConverter(), 1); },
              refusal("Owner configuration port must be between 1 and 65535"));
  EXPECT_THAT(
      [&] {
        extract<std::string>("enumeration", enumerationConverter({"none", "HTTP_BASIC"}), "none");
      },
      refusal("Owner configuration enumeration must be none or HTTP_BASIC"));
  EXPECT_THAT([&] { extract<std::string>("empty", stringConverter(), ""); },
              refusal("Owner configuration empty must be a string"));
}

TEST_F(ExtractionTest, OutOfRangePortOfHttpClientReadsAsDocumented) {
  put("port", data_t(std::int64_t{0}));

  EXPECT_THAT(
      [&] {
        extractConfig(working_, "HTTPClient", "port", portConverter(), std::optional<int64_t>(1));
      },
      refusal("HTTPClient configuration port must be between 1 and 65535"));
}

TEST_F(ExtractionTest, FailureOfAnyStandardKindIsReworded) {
  const Converter<int> converter{[](const data_t&) -> int { throw std::bad_cast(); }, "a thing"};
  put("key", data_t("value"));

  EXPECT_THAT([&] { extract("key", converter, 0); },
              refusal("Owner configuration key must be a thing"));
}

// The line of the typed access on standard error, which tells the type that was asked for.
TEST_F(ExtractionTest, RewordedRefusalLeavesTheDiagnosticLineOfTheTypedAccess) {
  put("integer", data_t(12.0));
  put("string", data_t(true));

  testing::internal::CaptureStderr();
  EXPECT_ANY_THROW(extract<std::int64_t>("integer", integerConverter(), 0));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "GetVisitor<long>.operator()(long)\n");

  testing::internal::CaptureStderr();
  EXPECT_ANY_THROW(extract<std::string>("string", stringConverter(), ""));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "GetVisitor<char const*>.operator()(char const*)\n");
}

TEST_F(ExtractionTest, RefusalOfATextLeavesNoDiagnosticLine) {
  put("integer", data_t("many"));
  put("boolean", data_t("yes"));
  put("empty", data_t());

  testing::internal::CaptureStderr();
  EXPECT_ANY_THROW(extract<std::int64_t>("integer", integerConverter(), 0));
  EXPECT_ANY_THROW(extract<bool>("boolean", booleanConverter(), false));
  EXPECT_ANY_THROW(extract<std::string>("empty", stringConverter(), ""));
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ExtractionTest, ElementThatDoesNotConvertStays) {
  put("count", data_t("many"));

  EXPECT_ANY_THROW(extract<std::int64_t>("count", integerConverter(), 5));

  ASSERT_TRUE(has("count"));
  EXPECT_STREQ(get<const char*>(working_.find("count").value()), "many");
}

// ---- Two keys for one element

TEST_F(ExtractionTest, PreferredKeyAloneIsFound) {
  put("preferred", data_t("p"));

  const auto found = resolveAlternativeKeys(working_, kOwner, "preferred", "alternative");

  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->key, "preferred");
  EXPECT_EQ(found->map, &working_);
}

TEST_F(ExtractionTest, AlternativeKeyAloneIsFound) {
  put("alternative", data_t("a"));

  const auto found = resolveAlternativeKeys(working_, kOwner, "preferred", "alternative");

  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(found->key, "alternative");
}

TEST_F(ExtractionTest, NeitherKeyIsNone) {
  put("other", data_t("o"));

  EXPECT_FALSE(resolveAlternativeKeys(working_, kOwner, "preferred", "alternative").has_value());
}

TEST_F(ExtractionTest, BothKeysAreRefused) {
  put("preferred", data_t("p"));
  put("alternative", data_t("a"));

  EXPECT_THAT([&] { resolveAlternativeKeys(working_, kOwner, "preferred", "alternative"); },
              refusal("You cannot specify both preferred and alternative for Owner configuration"));
}

TEST_F(ExtractionTest, BothKeysAreRefusedWithEqualValuesToo) {
  put("preferred", data_t("same"));
  put("alternative", data_t("same"));

  EXPECT_THAT(
      [&] {
        extractConfig(working_, kOwner, "preferred", "alternative", stringConverter(),
                      std::optional<std::string>(""));
      },
      refusal("You cannot specify both preferred and alternative for Owner configuration"));
}

TEST_F(ExtractionTest, ElementOfEitherKeyIsExtracted) {
  const auto extractEither = [&] {
    return extractConfig(working_, kOwner, "preferred", "alternative", stringConverter(),
                         std::optional<std::string>("default"));
  };

  put("preferred", data_t("p"));
  EXPECT_EQ(extractEither(), "p");
  put("alternative", data_t("a"));
  EXPECT_EQ(extractEither(), "a");
  EXPECT_EQ(extractEither(), "default");
  EXPECT_TRUE(working_.empty());
}

TEST_F(ExtractionTest, RequiredElementIsMissingUnderItsPreferredKey) {
  EXPECT_THAT(
      [&] {
        extractConfig(working_, kOwner, "preferred", "alternative", stringConverter(),
                      std::optional<std::string>());
      },
      refusal("Owner missing required configuration element preferred"));
}

TEST_F(ExtractionTest, RefusalNamesTheKeyThatWasUsed) {
  put("alternative", data_t(std::int64_t{1}));

  EXPECT_THAT(
      [&] {
        extractConfig(working_, kOwner, "preferred", "alternative", stringConverter(),
                      std::optional<std::string>(""));
      },
      refusal("Owner configuration alternative must be a string"));
}

// ---- Groups

TEST_F(ExtractionTest, GroupIsTheMapUnderItsKey) {
  putNested("group", "key", data_t("value"));

  const map_t* const group = extractNestedConfig(working_, kOwner, "group");

  ASSERT_NE(group, nullptr);
  EXPECT_EQ(group->size(), 1u);
}

TEST_F(ExtractionTest, AbsentGroupIsNone) {
  EXPECT_EQ(extractNestedConfig(working_, kOwner, "group"), nullptr);
  EXPECT_EQ(extractNestedConfig(working_, kOwner, "outer/inner"), nullptr);
}

TEST_F(ExtractionTest, GroupWithANullBlockIsEmpty) {
  put("group", data_t(map_t()));

  const map_t* const group = extractNestedConfig(working_, kOwner, "group");

  ASSERT_NE(group, nullptr);
  EXPECT_TRUE(group->empty());
}

TEST_F(ExtractionTest, GroupOfAnotherKindIsRefused) {
  put("text", data_t("value"));
  put("list", data_t(list_t()));
  put("empty", data_t());

  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, "text"); },
              refusal("Owner configuration text incorrectly nested map"));
  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, "list"); },
              refusal("Owner configuration list incorrectly nested map"));
  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, "empty"); },
              refusal("Owner configuration empty incorrectly nested map"));
}

TEST_F(ExtractionTest, InnerGroupOfAnotherKindIsNamedByItsPath) {
  putNested("outer", "inner", data_t(true));

  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, "outer/inner"); },
              refusal("Owner configuration outer/inner incorrectly nested map"));
}

TEST_F(ExtractionTest, GroupWithoutANameIsRefused) {
  putNested("", "key", data_t("value"));

  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, ""); },
              refusal("Owner configuration cannot specify an empty nested{} name"));
  EXPECT_THAT([&] { extractNestedConfig(working_, kOwner, "outer/"); },
              refusal("Owner configuration cannot specify an empty nested{} name"));
}

TEST_F(ExtractionTest, NestedElementIsExtractedByItsPath) {
  putNested("group", "port", data_t(std::int64_t{80}));

  EXPECT_EQ(extract<std::int64_t>("group/port", integerConverter(), 1), 80);

  EXPECT_TRUE(extractNestedConfig(working_, kOwner, "group")->empty());
}

TEST_F(ExtractionTest, NestedElementIsNamedByItsPath) {
  putNested("group", "port", data_t("x"));

  EXPECT_THAT([&] { extract<std::int64_t>("group/port", integerConverter(), 1); },
              refusal("Owner configuration group/port must be an integer"));
}

TEST_F(ExtractionTest, NestedAndTopLevelElementAreAlternatives) {
  putNested("group", "name", data_t("nested"));
  put("name", data_t("flat"));

  EXPECT_THAT([&] { resolveAlternativeKeys(working_, kOwner, "group/name", "name"); },
              refusal("You cannot specify both group/name and name for Owner configuration"));
}

TEST_F(ExtractionTest, KeyThatHoldsASlashIsNoPath) {
  put("group/port", data_t(std::int64_t{80}));

  EXPECT_EQ(extract<std::int64_t>("group/port", integerConverter(), 1), 1);
  EXPECT_THAT([&] { checkNoUnknownConfig(working_, kOwner); },
              refusal("Unknown configuration element group/port in Owner"));
}

// ---- What is left

TEST_F(ExtractionTest, NothingLeftIsFine) {
  EXPECT_NO_THROW(checkNoUnknownConfig(working_, kOwner));
  put("key", data_t("value"));
  extract<std::string>("key", stringConverter(), "");
  EXPECT_NO_THROW(checkNoUnknownConfig(working_, kOwner));
}

TEST_F(ExtractionTest, ElementLeftOverIsRefused) {
  put("timeoutSec", data_t(std::int64_t{1}));

  EXPECT_THAT([&] { checkNoUnknownConfig(working_, kOwner); },
              refusal("Unknown configuration element timeoutSec in Owner"));
}

TEST_F(ExtractionTest, ElementLeftOverInAGroupIsNamedByItsPath) {
  put("foo", data_t(std::int64_t{1}));

  EXPECT_THAT([&] { checkNoUnknownConfig(working_, kOwner, "proxy/"); },
              refusal("Unknown configuration element proxy/foo in Owner"));
}

TEST_F(ExtractionTest, FirstElementInSlotOrderIsNamed) {
  put("a", data_t());
  put("b", data_t());
  put("c", data_t());
  const std::string first = get<const char*>(working_.begin().key());

  EXPECT_THAT([&] { checkNoUnknownConfig(working_, kOwner); },
              refusal(("Unknown configuration element " + first + " in Owner").c_str()));
}

TEST_F(ExtractionTest, KeyOfAnotherKindIsNamedByItsText) {
  working_.insert(data_t(std::int64_t{5}), data_t("value"));

  EXPECT_THAT([&] { checkNoUnknownConfig(working_, kOwner); },
              refusal("Unknown configuration element 5 in Owner"));
}

}  // namespace com::corvane::connectivity10_15_0
