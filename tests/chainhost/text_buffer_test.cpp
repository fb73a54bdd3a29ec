#include "chainhost/text_buffer.h"

#include <gtest/gtest.h>

#include <new>
#include <string>

#include "chainhost/scarce_memory.h"

namespace chainhost {
namespace {

TEST(TextBufferTest, GrowsByTextsAndCharacters) {
  TextBuffer buffer;
  std::string expected;

  for (int index = 0; index < 1000; ++index) {
    const std::string text = std::to_string(index);
    buffer += text;
    buffer += ',';
    expected += text + ',';
  }

  EXPECT_EQ(buffer.view(), expected);
  EXPECT_EQ(buffer.size(), expected.size());
}

TEST(TextBufferTest, TakesNothing) {
  TextBuffer buffer;

  buffer += std::string_view();

  EXPECT_EQ(buffer.view(), "");
}

TEST(TextBufferTest, AddsOnlyWhatIsTakenOfItsRoom) {
  TextBuffer buffer;
  buffer += "a";

  char* const room = buffer.room(1000);
  room[0] = 'b';
  room[1] = 'c';
  buffer.take(1);

  EXPECT_EQ(buffer.view(), "ab");
}

TEST(TextBufferTest, ForgetsItsTextButKeepsItsMemory) {
  TextBuffer buffer;
  buffer += std::string(200, 'x');
  const char* const memory = buffer.view().data();

  buffer.clear(1000);

  EXPECT_EQ(buffer.view(), "");
  EXPECT_EQ(buffer.room(200), memory);
}

TEST(TextBufferTest, GivesTheMemoryOfAGiantBack) {
  TextBuffer buffer;
  buffer += std::string(2000, 'x');

  buffer.clear(1000);

  EXPECT_EQ(buffer.view().data(), nullptr);
  buffer += "again";
  EXPECT_EQ(buffer.view(), "again");
}

TEST(TextBufferTest, StaysAsItWasWithoutMemory) {
  TextBuffer buffer;
  buffer += "kept";
  const std::string text(4096, 'x');

  {
    const test_support::ScarceMemory scarce(4096);
    EXPECT_THROW(buffer += text, std::bad_alloc);
  }

  EXPECT_EQ(buffer.view(), "kept");
}

}  // namespace
}  // namespace chainhost
