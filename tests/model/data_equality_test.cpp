#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "model/data.h"
#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(DataEqualityTest, KindsThatDifferAreUnequal) {
  CustomObject object;
  std::vector<data_t> values;
  values.emplace_back();
  values.emplace_back(false);
  values.emplace_back(0.0);
  values.emplace_back(0);
  values.push_back(valueOf(KEL_TAG_DECIMAL));
  values.emplace_back("");
  values.push_back(valueOf(KEL_TAG_LIST));
  values.push_back(valueOf(KEL_TAG_MAP));
  values.push_back(valueOf(KEL_TAG_BUFFER));
  values.push_back(object.value());
  values.push_back(borrowed(""));
  values.push_back(valueOf(11));

  for (const data_t& left : values) {
    for (const data_t& right : values) {
      if (&left != &right) {
        EXPECT_FALSE(left == right) << left.tag() << " and " << right.tag();
      }
    }
  }
}

TEST(DataEqualityTest, AnOwnedStringNeverEqualsABorrowedOne) {
  EXPECT_FALSE(data_t("abc") == borrowed("abc"));
  EXPECT_FALSE(borrowed("abc") == data_t("abc"));
}

TEST(DataEqualityTest, UnknownKindsAreUnequalToThemselves) {
  EXPECT_FALSE(valueOf(11, 1) == valueOf(11, 1));
  EXPECT_FALSE(valueOf(-1, 1) == valueOf(-1, 1));
}

TEST(DataEqualityTest, EmptyEqualsEmpty) { EXPECT_TRUE(data_t() == data_t()); }

TEST(DataEqualityTest, BooleansCompareByTheirFirstByte) {
  EXPECT_TRUE(data_t(true) == data_t(true));
  EXPECT_FALSE(data_t(true) == data_t(false));
  EXPECT_TRUE(valueOf(KEL_TAG_BOOLEAN, 0xAB01) == data_t(true));
  EXPECT_FALSE(valueOf(KEL_TAG_BOOLEAN, 2) == data_t(true));
}

TEST(DataEqualityTest, DoublesCompareAsNumbers) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const data_t notANumber(nan);

  EXPECT_TRUE(data_t(1.5) == data_t(1.5));
  EXPECT_FALSE(data_t(1.5) == data_t(1.25));
  EXPECT_TRUE(data_t(0.0) == data_t(-0.0));
  EXPECT_FALSE(notANumber == notANumber);
  EXPECT_FALSE(notANumber == data_t(1.5));
  EXPECT_FALSE(data_t(1.5) == notANumber);
}

TEST(DataEqualityTest, IntegersAndDecimalsCompareBits) {
  EXPECT_TRUE(data_t(42) == data_t(42));
  EXPECT_FALSE(data_t(42) == data_t(-42));
  EXPECT_TRUE(valueOf(KEL_TAG_DECIMAL, 5) == valueOf(KEL_TAG_DECIMAL, 5));
}

TEST(DataEqualityTest, DecimalsAreNotNormalised) {
  const data_t written(*orvex::decimal64::fromText("1.2"));
  const data_t longer(*orvex::decimal64::fromText("1.20"));

  EXPECT_FALSE(written == longer);
}

TEST(DataEqualityTest, StringsCompareByBytes) {
  EXPECT_TRUE(data_t("abc") == data_t("abc"));
  EXPECT_FALSE(data_t("abc") == data_t("abd"));
  EXPECT_FALSE(data_t("abc") == data_t("ab"));
  EXPECT_TRUE(borrowed("\xFF") == borrowed("\xFF"));
}

TEST(DataEqualityTest, ListsComparePairwiseInOrder) {
  EXPECT_TRUE(listOf(1, "a") == listOf(1, "a"));
  EXPECT_FALSE(listOf(1, 2) == listOf(2, 1));
  EXPECT_FALSE(listOf(1, 2) == listOf(1));
  EXPECT_FALSE(listOf(1) == listOf(1, 2));
  EXPECT_TRUE(listOf(listOf(1)) == listOf(listOf(1)));
  EXPECT_FALSE(listOf(listOf(1)) == listOf(listOf(2)));
}

TEST(DataEqualityTest, ANullListEqualsAListWithoutElements) {
  EXPECT_TRUE(valueOf(KEL_TAG_LIST) == listOf());
  EXPECT_TRUE(listOf() == valueOf(KEL_TAG_LIST));
  EXPECT_TRUE(valueOf(KEL_TAG_LIST) == valueOf(KEL_TAG_LIST));
  EXPECT_FALSE(valueOf(KEL_TAG_LIST) == listOf(1));
}

TEST(DataEqualityTest, BuffersCompareTheirBytes) {
  EXPECT_TRUE(bufferOf("abc") == bufferOf("abc"));
  EXPECT_FALSE(bufferOf("abc") == bufferOf("abd"));
  EXPECT_FALSE(bufferOf("abc") == bufferOf("ab"));
  EXPECT_TRUE(bufferOf(std::string("a\0b", 3)) == bufferOf(std::string("a\0b", 3)));
  EXPECT_FALSE(bufferOf(std::string("a\0b", 3)) == bufferOf(std::string("a\0c", 3)));
}

TEST(DataEqualityTest, ANullBufferEqualsABufferWithoutBytes) {
  EXPECT_TRUE(valueOf(KEL_TAG_BUFFER) == bufferOf(""));
  EXPECT_FALSE(valueOf(KEL_TAG_BUFFER) == bufferOf("a"));
}

TEST(DataEqualityTest, MapsCompareTheirEntriesWhateverTheirOrderAndCapacity) {
  map_t large = map_t::adopt(kel_allocate_map(64));
  for (const int key : {3, 2, 1}) large.insert(key, key * 10);
  const data_t left(mapOf(1, 10, 2, 20, 3, 30));
  const data_t right(std::move(large));

  EXPECT_TRUE(left == right);
  EXPECT_TRUE(right == left);
}

TEST(DataEqualityTest, MapsDifferByCountKeyOrValue) {
  const data_t map(mapOf("a", 1, "b", 2));

  EXPECT_FALSE(map == data_t(mapOf("a", 1)));
  EXPECT_FALSE(data_t(mapOf("a", 1)) == map);
  EXPECT_FALSE(map == data_t(mapOf("a", 1, "c", 2)));
  EXPECT_FALSE(map == data_t(mapOf("a", 1, "b", 3)));
  EXPECT_TRUE(map == data_t(mapOf("b", 2, "a", 1)));
}

TEST(DataEqualityTest, AMapWithoutABlockEqualsAnEmptyOne) {
  EXPECT_TRUE(valueOf(KEL_TAG_MAP) == data_t(map_t::adopt(kel_allocate_map(8))));
  EXPECT_TRUE(valueOf(KEL_TAG_MAP) == valueOf(KEL_TAG_MAP));
}

TEST(DataEqualityTest, MapsWithANanValueOrKeyAreUnequalToThemselves) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const data_t value(mapOf("a", nan));
  const data_t key(mapOf(nan, 1));

  EXPECT_FALSE(value == value);
  EXPECT_FALSE(key == key);
}

TEST(DataEqualityTest, MapsDifferByTheirLabels) {
  char otherText[] = "l1";
  map_t unlabelled = mapOf("a", 1);
  map_t labelled = mapOf("a", 1);
  map_t same = mapOf("a", 1);
  map_t other = mapOf("a", 1);
  labelled.raw()->label = "l1";
  same.raw()->label = otherText;
  other.raw()->label = "l2";
  const data_t values[] = {std::move(unlabelled), std::move(labelled), std::move(same),
                           std::move(other)};

  EXPECT_FALSE(values[0] == values[1]);
  EXPECT_FALSE(values[1] == values[0]);
  EXPECT_TRUE(values[1] == values[2]);
  EXPECT_FALSE(values[1] == values[3]);
}

TEST(DataEqualityTest, ALabelledEmptyMapDiffersFromAMapWithoutABlock) {
  map_t labelled = map_t::adopt(kel_allocate_map(8));
  labelled.raw()->label = "l1";

  EXPECT_FALSE(valueOf(KEL_TAG_MAP) == data_t(std::move(labelled)));
}

TEST(DataEqualityTest, MapsHashTheLeftKeysAfreshInsteadOfTrustingStoredHashes) {
  map_t left = mapOf("a", 1);
  map_t right = mapOf("a", 1);
  slotOf(left, occupiedSlots(left)[0]).hash = 12345;

  EXPECT_TRUE(data_t(std::move(left)) == data_t(std::move(right)));
}

TEST(DataEqualityTest, CustomValuesAreUnequalToThemselves) {
  CustomObject object;
  const data_t custom = object.value();

  EXPECT_FALSE(custom == custom);
}

TEST(DataEqualityTest, AnEmptyKeyIsComparedLikeAnyOther) {
  EXPECT_TRUE(data_t(mapOf(data_t(), 1)) == data_t(mapOf(data_t(), 1)));
  EXPECT_FALSE(data_t(mapOf(data_t(), 1)) == data_t(mapOf(data_t(), 2)));
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
