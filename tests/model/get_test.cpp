#include "model/get.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;
using orvex::decimal64;

TEST(GetTest, GivesScalarsByValue) {
  EXPECT_EQ(get<bool>(data_t(true)), true);
  EXPECT_EQ(get<bool>(valueOf(KEL_TAG_BOOLEAN, 0xFF)), true);
  EXPECT_EQ(get<bool>(valueOf(KEL_TAG_BOOLEAN, 0xFF00)), false);
  EXPECT_EQ(get<std::int64_t>(data_t(-3)), -3);
  EXPECT_EQ(get<double>(data_t(0.5)), 0.5);
  EXPECT_EQ(get<decimal64>(valueOf(KEL_TAG_DECIMAL, 0x31C000000000007D)).bits(),
            0x31C000000000007DU);
}

TEST(GetTest, GivesTextsWithoutCopying) {
  const data_t value("abc");

  EXPECT_EQ(get<const char*>(value), value.raw().payload.string);
}

TEST(GetTest, GivesABorrowedText) {
  const char* const text = "abc";

  EXPECT_EQ(get<const char*>(borrowed(text)), text);
}

TEST(GetTest, GivesContainersInTheirValue) {
  CustomObject object;
  data_t map(mapOf("k", 1));
  const data_t list = listOf(1);
  const data_t buffer = bufferOf("abc");
  const data_t custom = object.value();

  EXPECT_EQ(get<map_t>(map).raw(), map.raw().payload.map);
  EXPECT_EQ(get<list_t>(list).raw(), list.raw().payload.list);
  EXPECT_EQ(get<buffer_t>(buffer).raw(), buffer.raw().payload.buffer);
  EXPECT_EQ(get<custom_t>(custom).raw(), object.block());
  EXPECT_EQ(static_cast<const void*>(&get<map_t>(map)), static_cast<const void*>(&map.raw()));
}

TEST(GetTest, LetsAContainerChangeInsideItsValue) {
  data_t value = valueOf(KEL_TAG_MAP);

  get<map_t>(value).insert("k", 1);

  EXPECT_NE(value.raw().payload.map, nullptr);
  EXPECT_EQ(get<map_t>(value).size(), 1U);
}

TEST(GetTest, GivesConstantContainersOfConstantValues) {
  EXPECT_TRUE((std::is_same_v<decltype(get<map_t>(std::declval<const data_t&>())), const map_t&>));
  EXPECT_TRUE((std::is_same_v<decltype(get<map_t>(std::declval<data_t&>())), map_t&>));
}

TEST(GetTest, TheVisitorDoesTheSame) {
  const data_t value(42);

  EXPECT_EQ(GetVisitor<std::int64_t>()(value), 42);
  EXPECT_EQ(thrownText([&] { GetVisitor<bool>()(data_t()); }), "Get from empty");
}

// What is wrong with asking `value` for a T: the text raised, and what stood on standard error.
struct Refusal {
  std::string text;
  std::string line;
  bool operator==(const Refusal&) const = default;
};

template <typename T>
Refusal refusalOf(const data_t& value) {
  testing::internal::CaptureStderr();
  Refusal result;
  result.text = thrownText([&] { (void)get<T>(value); });
  result.line = testing::internal::GetCapturedStderr();
  return result;
}

template <typename T>
class GetOfTypeTest : public testing::Test {};

using Types = testing::Types<bool, std::int64_t, double, decimal64, const char*, list_t, map_t,
                             buffer_t, custom_t>;
TYPED_TEST_SUITE(GetOfTypeTest, Types);

TYPED_TEST(GetOfTypeTest, RefusesEmptyWithoutADiagnosticLine) {
  EXPECT_EQ(refusalOf<TypeParam>(data_t()), (Refusal{"Get from empty", ""}));
}

TYPED_TEST(GetOfTypeTest, RefusesAnUnknownKindByName) {
  const Refusal refusal = refusalOf<TypeParam>(valueOf(11));

  EXPECT_NE(refusal.text.find(" but it's actually Unknown)"), std::string::npos) << refusal.text;
  EXPECT_NE(refusal.line, "");
}

TYPED_TEST(GetOfTypeTest, AcceptsNoKindButItsOwn) {
  CustomObject object;
  std::vector<data_t> values;
  values.emplace_back(true);
  values.emplace_back(0.5);
  values.emplace_back(1);
  values.push_back(valueOf(KEL_TAG_DECIMAL));
  values.emplace_back("1");
  values.push_back(valueOf(KEL_TAG_LIST));
  values.push_back(valueOf(KEL_TAG_MAP));
  values.push_back(valueOf(KEL_TAG_BUFFER));
  values.push_back(object.value());
  values.push_back(borrowed("1"));
  int accepted = 0;

  testing::internal::CaptureStderr();
  for (const data_t& value : values) {
    try {
      (void)get<TypeParam>(value);
      ++accepted;
    } catch (const std::runtime_error&) {
    }
  }
  testing::internal::GetCapturedStderr();

  EXPECT_EQ(accepted, (std::is_same_v<TypeParam, const char*> ? 2 : 1));
}

TEST(GetTest, NamesBothKindsAndWritesTheRequestedTypeTwice) {
  const std::string in = "com::corvane::connectivity10_15_0::";
  const auto line = [](const std::string& type) {
    return "GetVisitor<" + type + ">.operator()(" + type + ")\n";
  };
  const auto text = [](const char* asked, const char* actual) {
    return std::string("Incorrect type in get (you asked for ") + asked + " but it's actually " +
           actual + ")";
  };
  CustomObject object;

  EXPECT_EQ(refusalOf<bool>(data_t(1)), (Refusal{text("boolean", "integer"), line("bool")}));
  EXPECT_EQ(refusalOf<std::int64_t>(data_t("1")),
            (Refusal{text("integer", "string"), line("long")}));
  EXPECT_EQ(refusalOf<double>(data_t(1)), (Refusal{text("double", "integer"), line("double")}));
  EXPECT_EQ(refusalOf<decimal64>(data_t(true)),
            (Refusal{text("decimal", "boolean"), line("com::orvex::decimal64")}));
  EXPECT_EQ(refusalOf<const char*>(data_t(1)),
            (Refusal{text("string", "integer"), line("char const*")}));
  EXPECT_EQ(refusalOf<list_t>(data_t(mapOf(1, 2))),
            (Refusal{text("list", "map"), line(in + "list_t")}));
  EXPECT_EQ(refusalOf<map_t>(data_t(0.5)), (Refusal{text("map", "double"), line(in + "map_t")}));
  EXPECT_EQ(refusalOf<buffer_t>(listOf(1)),
            (Refusal{text("buffer", "list"), line(in + "buffer_t")}));
  EXPECT_EQ(refusalOf<custom_t>(bufferOf("a")),
            (Refusal{text("custom", "buffer"), line(in + "custom_t")}));
  EXPECT_EQ(refusalOf<map_t>(object.value()), (Refusal{text("map", "custom"), line(in + "map_t")}));
  EXPECT_EQ(refusalOf<bool>(valueOf(KEL_TAG_DECIMAL)),
            (Refusal{text("boolean", "decimal"), line("bool")}));
  EXPECT_EQ(refusalOf<map_t>(borrowed("a")), (Refusal{text("map", "string"), line(in + "map_t")}));
}

TEST(GetTest, ReadsAsInTheExampleOfAMapAskedOfADouble) {
  EXPECT_EQ(refusalOf<map_t>(data_t(1.5)).text,
            "Incorrect type in get (you asked for map but it's actually double)");
}

TEST(GetTest, LeavesTheValueAsItWas) {
  const data_t value("abc");

  refusalOf<double>(value);

  EXPECT_STREQ(get<const char*>(value), "abc");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
