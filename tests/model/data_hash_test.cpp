#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

#include "model/data.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(DataHashTest, HasTheMapSeedByDefault) {
  EXPECT_EQ(kMapSeed, 608160497U);
  EXPECT_EQ(data_t().hash(), 608160497U);
}

TEST(DataHashTest, EmptyAndUnknownKindsHashToTheSeed) {
  EXPECT_EQ(data_t().hash(7), 7U);
  EXPECT_EQ(valueOf(11, 42).hash(7), 7U);
  EXPECT_EQ(valueOf(-1, 42).hash(7), 7U);
}

TEST(DataHashTest, BooleansHashToTheSeedAndItsComplement) {
  EXPECT_EQ(data_t(true).hash(), 0x243FCAF1U);
  EXPECT_EQ(data_t(false).hash(), 0xFFFFFFFFDBC0350EU);
  EXPECT_EQ(data_t(true).hash(7), 7U);
  EXPECT_EQ(data_t(false).hash(7), ~std::uint64_t{7});
}

TEST(DataHashTest, BooleansHashByTruth) {
  EXPECT_EQ(valueOf(KEL_TAG_BOOLEAN, 2).hash(), data_t(true).hash());
  EXPECT_EQ(valueOf(KEL_TAG_BOOLEAN, 0x0100).hash(), data_t(false).hash());
}

TEST(DataHashTest, IntegersHashTheirBytes) {
  EXPECT_EQ(data_t(42).hash(), 0xA9053146CB5F81D3U);
  EXPECT_EQ(data_t(-1).hash(), 0x099C106FDB5F42E2U);
  EXPECT_EQ(data_t(42).hash(7), 0x1299F151844A5200U);
}

TEST(DataHashTest, DecimalsHashTheirBytes) {
  EXPECT_EQ(valueOf(KEL_TAG_DECIMAL, 0x31C000000000007D).hash(), 0xED2D890499F1A32DU);
  EXPECT_EQ(valueOf(KEL_TAG_DECIMAL, 42).hash(7), data_t(42).hash(7));
}

TEST(DataHashTest, DoublesHashTheirBits) {
  EXPECT_EQ(data_t(1.5).hash(), 0x3B850963FC2E9208U);
  EXPECT_EQ(data_t(1.5).hash(7), 0x3BB5B2A42CA3636BU);
}

TEST(DataHashTest, BothZeroesHashAsZeroBytes) {
  EXPECT_EQ(data_t(0.0).hash(), 0xD3A7101D1B4EBC20U);
  EXPECT_EQ(data_t(-0.0).hash(), 0xD3A7101D1B4EBC20U);
}

TEST(DataHashTest, EveryNanHashesByItsOwnBits) {
  EXPECT_EQ(valueOf(KEL_TAG_DOUBLE, 0x7FF8000000000000).hash(), 0xA2C060FEFC64CF53U);
  EXPECT_EQ(valueOf(KEL_TAG_DOUBLE, 0x7FF8000000000001).hash(), 0xCC18CEE45A03E9FAU);
  EXPECT_EQ(valueOf(KEL_TAG_DOUBLE, 0xFFF8000000000000).hash(), 0xBFEA7E56553BE294U);
}

TEST(DataHashTest, StringsOfBothKindsAskTheHostAndIgnoreTheSeed) {
  const std::uint64_t hash = kel_hash_string("abc");
  HostCalls calls;

  EXPECT_EQ(data_t("abc").hash(7), hash);
  EXPECT_EQ(borrowed("abc").hash(8), hash);
  EXPECT_EQ(calls.count("kel_hash_string"), 2U);
}

TEST(DataHashTest, ListsChainTheirElementsAndIgnoreTheSeed) {
  EXPECT_EQ(listOf(1, 2).hash(), 0xC6016C126B1A0FBFU);
  EXPECT_EQ(listOf(1, 2).hash(7), 0xC6016C126B1A0FBFU);
  EXPECT_EQ(listOf(1, false).hash(), 0xB806509CF4D16F26U);
}

TEST(DataHashTest, ListsInAnotherOrderHashDifferently) {
  EXPECT_EQ(listOf(2, 1).hash(), 0xE8A1565FD4B2645EU);
  EXPECT_NE(listOf(2, 1).hash(), listOf(1, 2).hash());
}

TEST(DataHashTest, ListsWithoutElementsHashToTheMapSeed) {
  EXPECT_EQ(listOf().hash(7), kMapSeed);
  EXPECT_EQ(valueOf(KEL_TAG_LIST).hash(7), kMapSeed);
}

TEST(DataHashTest, ListsBeginAnewAtAStringElement) {
  EXPECT_EQ(listOf(1, "abc").hash(), kel_hash_string("abc"));
  EXPECT_EQ(listOf(2, "abc").hash(), listOf(1, "abc").hash());
}

TEST(DataHashTest, MapsAddTheHashesOfKeysAndValuesAndIgnoreTheSeed) {
  EXPECT_EQ(data_t(mapOf(1, 10, 2, 20)).hash(), 0xEBAB441E65304013U);
  EXPECT_EQ(data_t(mapOf(1, 10, 2, 20)).hash(7), 0xEBAB441E65304013U);
  EXPECT_EQ(data_t(mapOf(1, true, 2, false)).hash(), 0x2C1EA147859039BBU);
}

TEST(DataHashTest, MapsWithoutEntriesHashToTheMapSeed) {
  EXPECT_EQ(valueOf(KEL_TAG_MAP).hash(7), kMapSeed);
  EXPECT_EQ(data_t(map_t::adopt(kel_allocate_map(8))).hash(7), kMapSeed);
}

TEST(DataHashTest, MapsHashTheSameWhateverTheirCapacities) {
  map_t small = mapOf(1, 10, 2, 20, 3, 30);
  map_t large = map_t::adopt(kel_allocate_map(64));
  for (const int key : {3, 2, 1}) large.insert(key, key * 10);
  ASSERT_NE(small.raw()->capacity, large.raw()->capacity);

  EXPECT_EQ(data_t(std::move(small)).hash(), data_t(std::move(large)).hash());
}

TEST(DataHashTest, MapsLeaveDeletedSlotsOut) {
  map_t map = mapOf(1, 10, 2, 20, 3, 30);
  map.erase(map.find(data_t(3)));

  EXPECT_EQ(data_t(std::move(map)).hash(), 0xEBAB441E65304013U);
}

TEST(DataHashTest, BuffersHashTheirBytesAndIgnoreTheSeed) {
  EXPECT_EQ(bufferOf("abc").hash(), 0x0E903061F4C485B4U);
  EXPECT_EQ(bufferOf("abc").hash(7), 0x0E903061F4C485B4U);
}

TEST(DataHashTest, BuffersWithoutBytesHashNothingWithTheMapSeed) {
  EXPECT_EQ(bufferOf("").hash(7), 0xE36925AE8296B197U);
  EXPECT_EQ(valueOf(KEL_TAG_BUFFER).hash(7), 0xE36925AE8296B197U);
}

TEST(DataHashTest, RefusesCustomValues) {
  CustomObject object;
  const data_t custom = object.value();

  EXPECT_EQ(thrownText([&] { custom.hash(); }), "Cannot use custom values as a key");
}

TEST(DataHashTest, RefusesContainersThatHoldCustomValues) {
  CustomObject object;
  const data_t map(mapOf(1, object.value()));
  const data_t list = listOf(1);
  kelhost::elementsOf(list.raw().payload.list)[0] = object.value().release();

  EXPECT_EQ(thrownText([&] { map.hash(); }), "Cannot use custom values as a key");
  EXPECT_EQ(thrownText([&] { list.hash(); }), "Cannot use custom values as a key");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
