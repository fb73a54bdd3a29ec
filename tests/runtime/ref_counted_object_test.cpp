#include "runtime/ref_counted_object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace com::orvex {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Counted : public RefCountedObject {
 public:
  explicit Counted(int& deleted) : deleted_(deleted) {}
  ~Counted() override { ++deleted_; }

 private:
  int& deleted_;
};

TEST(RefCountedObjectTest, IsDeletedWithItsLastReference) {
  int deleted = 0;
  auto* const object = new Counted(deleted);
  object->addRef("first");
  object->addRef("second");

  object->dropRef("first");
  EXPECT_EQ(deleted, 0);
  object->dropRef("second");

  EXPECT_EQ(deleted, 1);
}

TEST(RefCountedObjectTest, BeginsWithoutAReference) {
  int deleted = 0;
  Counted object(deleted);

  EXPECT_FALSE(object.isReferenced());
}

TEST(RefCountedObjectTest, IsReferencedWhileAnybodyHoldsAReference) {
  int deleted = 0;
  auto* const object = new Counted(deleted);

  const RefPtr<Counted> holder(object);

  EXPECT_TRUE(object->isReferenced());
}

TEST(RefCountedObjectTest, IsDeletedOnceWhenManyThreadsGiveTheirReferencesBack) {
  int deleted = 0;
  RefPtr<Counted> object(new Counted(deleted));
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([mine = object] {
        for (int j = 0; j < 1'000; ++j) const RefPtr<Counted> more(mine);
      });
    }
    object.reset();
  }

  EXPECT_EQ(deleted, 1);
}

#ifndef NDEBUG
TEST(RefCountedObjectDeathTest, AReferenceThatNobodyHoldsCannotBeGivenBack) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  int deleted = 0;
  Counted object(deleted);

  EXPECT_DEATH(object.dropRef("the label"),
               HasSubstr("Reference given back that nobody holds: \"the label\"\n"));
}
#endif

// Notes the labels that it is called with.
class Labelled : public RefCountedObject {
 public:
  explicit Labelled(std::vector<std::string>& calls) : calls_(calls) {}
  void addRef(const char* label) override {
    calls_.push_back(std::string("add ") + label);
    RefCountedObject::addRef(label);
  }
  void dropRef(const char* label) override {
    calls_.push_back(std::string("drop ") + label);
    RefCountedObject::dropRef(label);
  }

 private:
  std::vector<std::string>& calls_;
};

TEST(RefPtrTest, TakesAndGivesBackOneReference) {
  std::vector<std::string> calls;
  { const RefPtr<Labelled> holder(new Labelled(calls)); }

  EXPECT_THAT(calls, ElementsAre("add RefPtr", "drop RefPtr"));
}

TEST(RefPtrTest, ACopyHoldsAReferenceOfItsOwn) {
  int deleted = 0;
  RefPtr<Counted> first(new Counted(deleted));
  const RefPtr<Counted> second = first;

  first.reset();
  EXPECT_EQ(deleted, 0);

  EXPECT_EQ(first, nullptr);
  EXPECT_NE(second, nullptr);
}

TEST(RefPtrTest, AMoveHandsTheReferenceOver) {
  std::vector<std::string> calls;
  RefPtr<Labelled> first(new Labelled(calls));

  const RefPtr<Labelled> second = std::move(first);

  EXPECT_EQ(first.get(), nullptr);
  EXPECT_TRUE(second);
  EXPECT_THAT(calls, ElementsAre("add RefPtr"));
}

TEST(RefPtrTest, AssignmentGivesTheEarlierReferenceBack) {
  int firstDeleted = 0;
  int secondDeleted = 0;
  RefPtr<Counted> holder(new Counted(firstDeleted));
  const RefPtr<Counted> other(new Counted(secondDeleted));

  holder = other;

  EXPECT_EQ(firstDeleted, 1);
  EXPECT_EQ(secondDeleted, 0);
  EXPECT_EQ(holder, other);
}

TEST(RefPtrTest, AssignedToItselfItKeepsItsReference) {
  int deleted = 0;
  RefPtr<Counted> holder(new Counted(deleted));
  const RefPtr<Counted>& same = holder;

  holder = same;

  EXPECT_EQ(deleted, 0);
  EXPECT_TRUE(holder);
}

TEST(RefPtrTest, ResetHoldsTheNewObject) {
  int firstDeleted = 0;
  int secondDeleted = 0;
  RefPtr<Counted> holder(new Counted(firstDeleted));
  auto* const second = new Counted(secondDeleted);

  holder.reset(second);

  EXPECT_EQ(firstDeleted, 1);
  EXPECT_EQ(holder.get(), second);
}

TEST(RefPtrTest, HoldsNothingWhenMadeFromNothing) {
  const RefPtr<Counted> none;
  const RefPtr<Counted> null(nullptr);

  EXPECT_FALSE(none);
  EXPECT_FALSE(null);
}

}  // namespace
}  // namespace com::orvex
