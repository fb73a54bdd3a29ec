#include "model/list.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "model/get.h"
#include "model/host_calls.h"
#include "model/host_made.h"
#include "model/iterator_texts.h"
#include "model/scoped_environment.h"
#include "model/thrown_text.h"

namespace com::corvane::connectivity10_15_0 {
namespace {

using namespace test_support;

TEST(ListTest, ReadsTheHostsElementsInOrder) {
  const data_t value = listOf(1, "a", true);
  const auto& list = get<list_t>(value);
  std::vector<std::int32_t> tags;

  for (const data_t& element : list) tags.push_back(element.tag());

  EXPECT_EQ(tags, (std::vector<std::int32_t>{3, 5, 1}));
  EXPECT_EQ(list.size(), 3U);
  EXPECT_EQ(get<std::int64_t>(list[0]), 1);
  EXPECT_STREQ(get<const char*>(list[1]), "a");
  EXPECT_TRUE(get<bool>(list[2]));
}

TEST(ListTest, HasNothingWithoutABlock) {
  const list_t list;

  EXPECT_EQ(list.size(), 0U);
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(list.begin() == list.end());
  EXPECT_EQ(thrownText([&] { (void)list[0]; }), "Out of bounds");
}

TEST(ListTest, RefusesElementsThatAreNotThere) {
  const data_t value = listOf(1);
  const auto& list = get<list_t>(value);

  EXPECT_EQ(thrownText([&] { (void)list[1]; }), "Out of bounds");
  EXPECT_EQ(thrownText([&] { (void)*list.end(); }), "Out of bounds");
}

TEST(ListTest, MovesWithoutTheHostAndReleasesOnce) {
  data_t value = listOf("a", "b");
  HostCalls calls;

  {
    list_t list = std::move(get<list_t>(value));
    list_t other;
    other = std::move(list);
    EXPECT_EQ(list.raw(), nullptr);
    EXPECT_EQ(other.size(), 2U);
    EXPECT_EQ(calls.total(), 0U);
  }

  EXPECT_EQ(calls.count("kel_free_vector"), 1U);
}

TEST(ListTest, ReleasesItsOldBlockWhenAssigned) {
  list_t list = get<list_t>(listOf("a")).copy();
  HostCalls calls;

  list = list_t();

  EXPECT_EQ(calls.count("kel_free_vector"), 1U);
  EXPECT_EQ(list.raw(), nullptr);
}

TEST(ListTest, CopiesThroughTheHost) {
  const data_t value = listOf("a", 2);
  const auto& list = get<list_t>(value);

  list_t copy = list.copy();

  EXPECT_NE(copy.raw(), list.raw());
  EXPECT_TRUE(data_t(std::move(copy)) == value);
  EXPECT_EQ(list_t().copy().raw(), nullptr);
}

class ListIterationTest : public testing::Test {
 protected:
  ~ListIterationTest() override { block()->count = 3; }

  list_block* block() { return value_.raw().payload.list; }

  const data_t value_ = listOf(1, 2, 3);
  const list_t& list_ = get<list_t>(value_);
};

TEST_F(ListIterationTest, RefusesEveryUseOfAPositionAfterTheCountChanged) {
  auto position = list_.begin();

  block()->count = 2;

  EXPECT_EQ(thrownText([&] { (void)*position; }), kListModified);
  EXPECT_EQ(thrownText([&] { (void)position->tag(); }), kListModified);
  EXPECT_EQ(thrownText([&] { ++position; }), kListModified);
  EXPECT_EQ(thrownText([&] { (void)(position == list_.end()); }), kListModified);
  EXPECT_EQ(thrownText([&] { (void)(list_.end() == position); }), kListModified);
}

TEST_F(ListIterationTest, CountsALostBlockAsNoElements) {
  list_t list = list_.copy();
  const auto position = list.begin();

  list = list_t();

  EXPECT_EQ(thrownText([&] { (void)*position; }), kListModified);
}

TEST_F(ListIterationTest, DoesNotNoticeAnElementReplacedInPlace) {
  const auto position = list_.begin();

  kelhost::elementsOf(block())[0].payload.integer = 7;

  EXPECT_EQ(get<std::int64_t>(*position), 7);
}

TEST_F(ListIterationTest, GoesOnWithTheChecksSwitchedOff) {
  const ScopedEnvironment skip(kSkipIteratorChecks, "");
  std::vector<std::int64_t> elements;

  for (const data_t& element : list_) {
    block()->count = 2;
    elements.push_back(get<std::int64_t>(element));
  }

  EXPECT_EQ(elements, (std::vector<std::int64_t>{1, 2, 3}));
}

TEST_F(ListIterationTest, LooksTheVariableUpAtEachFailure) {
  const auto position = list_.begin();
  block()->count = 2;

  {
    const ScopedEnvironment skip(kSkipIteratorChecks, "1");
    EXPECT_NO_THROW((void)*position);
  }

  EXPECT_EQ(thrownText([&] { (void)*position; }), kListModified);
}

TEST_F(ListIterationTest, OutlivesTheLossOfTheBlockWithTheChecksSwitchedOff) {
  list_t list = list_.copy();
  const auto position = list.begin();
  const ScopedEnvironment skip(kSkipIteratorChecks, "1");

  list = list_t();

  EXPECT_EQ(thrownText([&] { (void)*position; }), "Out of bounds");
}

}  // namespace
}  // namespace com::corvane::connectivity10_15_0
