#include "http/ascii.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace com::corvane::connectivity::plugins::ascii {
namespace {

// Every byte at every place of texts shorter, longer and as long as the words it works in.
TEST(AsciiTest, PlainIsWhatHasNoZeroAndNoHighByteAnywhere) {
  for (std::size_t length = 0; length <= 25; ++length) {
    EXPECT_TRUE(isPlain(std::string(length, 'a')));
    for (std::size_t place = 0; place < length; ++place) {
      for (int byte = 0; byte <= 255; ++byte) {
        std::string text(length, '\x01');
        text[place] = static_cast<char>(byte);
        ASSERT_EQ(isPlain(text), byte >= 1 && byte <= 127)
            << "byte " << byte << " at " << place << " of " << length;
      }
    }
  }
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins::ascii
