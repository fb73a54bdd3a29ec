// Containers that change while they are hashed, compared, searched or written.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "model/data.h"
#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/iterator_texts.h"
#include "model/map.h"
#include "model/scoped_environment.h"
#include "model/text.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

class ChangingContainerTest : public testing::Test {
 protected:
  // The blocks are whole again before they are released.
  ~ChangingContainerTest() override {
    listBlock()->count = 3;
    mapBlock()->count = 2;
  }

  list_block* listBlock() { return list_.raw().payload.list; }
  map_block* mapBlock() { return map_.raw().payload.map; }

  void changeList() { listBlock()->count = 2; }
  void changeMap() { mapBlock()->count = 1; }

  // A text, at which hashing asks the host, and a double, at which writing asks the runtime.
  const data_t list_ = listOf("a", 1.5, "b");
  data_t map_{mapOf("a", 1.5, "b", 2.5)};
  HostCalls calls_;
};

TEST_F(ChangingContainerTest, RefusesAListThatChangesWhileItIsHashed) {
  calls_.whenHashing([this] { changeList(); });

  EXPECT_EQ(thrownText([&] { list_.hash(); }), kListModified);
}

TEST_F(ChangingContainerTest, RefusesAMapThatChangesWhileItIsHashed) {
  calls_.whenHashing([this] { changeMap(); });

  EXPECT_EQ(thrownText([&] { map_.hash(); }), kMapModified);
}

TEST_F(ChangingContainerTest, RefusesAListThatChangesWhileItIsWritten) {
  calls_.whenWritingDouble([this] { changeList(); });

  EXPECT_EQ(thrownText([&] { valueText(list_); }), kListModified);
}

TEST_F(ChangingContainerTest, RefusesAMapThatChangesWhileItIsWritten) {
  calls_.whenWritingDouble([this] { changeMap(); });

  EXPECT_EQ(thrownText([&] { valueText(map_); }), kMapModified);
  mapBlock()->count = 2;
  EXPECT_EQ(thrownText([&] { valueText(get<map_t>(map_)); }), kMapModified);
}

TEST_F(ChangingContainerTest, RefusesAMapThatChangesWhileItIsCompared) {
  const data_t same(map_.copy());
  calls_.whenHashing([this] { changeMap(); });

  EXPECT_EQ(thrownText([&] { (void)(map_ == same); }), kMapModified);
}

TEST_F(ChangingContainerTest, RefusesAMapThatChangesWhileItIsProbed) {
  // Keys that are maps: comparing them hashes their keys. Those of the two entries differ, but
  // their stored hashes are made the same, so that the search goes on behind the first comparison.
  map_t map = map_t::adopt(kel_allocate_map(8));
  const data_t key(mapOf("k", 1));
  const std::uint64_t hash = key.hash();
  const std::uint64_t slot = hash % 8;
  kel_map_slot* const slots = kelhost::slotsOf(map.raw());
  slots[slot] = {hash, data_t(mapOf("k", 2)).release(), kel_data{}};
  slots[(slot + 1) % 8] = {hash, data_t(mapOf("k", 1)).release(), kel_data{}};
  map.raw()->count = 2;
  int hashings = 0;
  calls_.whenHashing([&] {
    if (++hashings == 2) map.raw()->count = 1;  // the first hashing is that of the key itself
  });

  EXPECT_EQ(thrownText([&] { map.find(key); }), kMapModified);
  map.raw()->count = 2;
  calls_.whenHashing(nullptr);
  EXPECT_TRUE(map.find(key) != map.end());
}

TEST_F(ChangingContainerTest, GoesOnWithTheChecksSwitchedOff) {
  const std::uint64_t listHash = list_.hash();
  const std::uint64_t mapHash = map_.hash();
  const std::string mapText = valueText(map_);
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");
  calls_.whenHashing([this] {
    changeList();
    changeMap();
  });
  calls_.whenWritingDouble([this] {
    changeList();
    changeMap();
  });

  EXPECT_EQ(list_.hash(), listHash);
  EXPECT_EQ(map_.hash(), mapHash);
  listBlock()->count = 3;
  mapBlock()->count = 2;
  EXPECT_EQ(valueText(list_), "[a,1.5,b]");
  EXPECT_EQ(valueText(map_), mapText);
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
