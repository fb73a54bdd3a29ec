#include "chainhost/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <system_error>
#include <vector>

#include "chainhost/file_descriptor.h"

namespace chainhost {
namespace {

class LineReaderTest : public testing::Test {
 protected:
  LineReaderTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    input_ = FileDescriptor(ends[0]);
    writer_ = FileDescriptor(ends[1]);
  }

  void write(const std::string& text) {
    ASSERT_EQ(::write(writer_.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void end() { writer_ = FileDescriptor(); }

  static std::vector<std::string> linesOf(LineReader& reader) {
    std::vector<std::string> lines;
    while (const auto line = reader.next()) {
      lines.emplace_back(*line);
    }
    return lines;
  }

  FileDescriptor input_;
  FileDescriptor writer_;
};

using Lines = std::vector<std::string>;

TEST_F(LineReaderTest, CutsWhatOneReadBringsIntoLines) {
  LineReader reader(input_.get());
  write("one\n\nthree\r\nfo");

  EXPECT_TRUE(reader.fill());

  EXPECT_EQ(linesOf(reader), (Lines{"one", "", "three\r"}));
}

TEST_F(LineReaderTest, JoinsALineFromSeveralReads) {
  LineReader reader(input_.get());
  write("on");
  reader.fill();
  EXPECT_EQ(linesOf(reader), Lines{});
  write("e\ntw");
  reader.fill();
  EXPECT_EQ(linesOf(reader), Lines{"one"});
  write("o\n");

  reader.fill();

  EXPECT_EQ(linesOf(reader), Lines{"two"});
}

TEST_F(LineReaderTest, GrowsForALineLongerThanItsBuffer) {
  const std::string longLine(1000, 'x');
  LineReader reader(input_.get(), 16);
  write("short\n" + longLine + "\nlast\n");
  end();
  Lines lines;

  while (reader.fill()) {
    for (auto& line : linesOf(reader)) {
      lines.push_back(std::move(line));
    }
  }

  EXPECT_EQ(lines, (Lines{"short", longLine, "last"}));
}

TEST_F(LineReaderTest, TellsTheEndOfTheInput) {
  LineReader reader(input_.get());
  end();

  EXPECT_FALSE(reader.fill());
  EXPECT_EQ(reader.takeRest(), std::nullopt);
}

TEST_F(LineReaderTest, KeepsWhatFollowsTheLastLineFeed) {
  LineReader reader(input_.get());
  write("one\nrest");
  end();
  reader.fill();
  linesOf(reader);
  reader.fill();

  EXPECT_EQ(reader.takeRest(), "rest");
  EXPECT_EQ(reader.takeRest(), std::nullopt);
}

TEST_F(LineReaderTest, HasReadableBytesBehindEveryLine) {
  LineReader reader(input_.get(), 16);
  write("0123456789012345");
  end();
  reader.fill();
  reader.fill();

  const std::string_view rest = *reader.takeRest();

  // The sanitizers see a read beyond the buffer.
  int sum = 0;
  for (std::size_t index = 0; index < LineReader::kPaddingBytes; ++index) {
    sum += rest.data()[rest.size() + index];
  }
  EXPECT_EQ(sum, 0);
}

TEST_F(LineReaderTest, TakesALineOfTheGreatestLength) {
  LineReader reader(input_.get(), 16, 20);
  write(std::string(20, 'x') + "\nnext\n");
  end();
  Lines lines;

  while (reader.fill()) {
    while (const auto line = reader.next()) {
      EXPECT_EQ(reader.fault(), nullptr);
      lines.emplace_back(*line);
    }
  }

  EXPECT_EQ(lines, (Lines{std::string(20, 'x'), "next"}));
}

TEST_F(LineReaderTest, TellsALineThatIsTooLongBeforeItHasEnded) {
  LineReader reader(input_.get(), 16, 20);
  write("short\n" + std::string(21, 'x'));
  Lines lines;

  while (reader.fault() == nullptr) {
    reader.fill();
    for (auto line = reader.next(); line; line = reader.next()) {
      lines.emplace_back(*line);
      if (reader.fault() != nullptr) {
        break;
      }
    }
  }

  EXPECT_STREQ(reader.fault(), LineReader::kTooLong);
  EXPECT_EQ(lines, (Lines{"short", ""}));
}

TEST_F(LineReaderTest, GoesOnBehindALineThatIsTooLong) {
  LineReader reader(input_.get(), 16, 20);
  write("a\n" + std::string(1000, 'x') + "\nb\n" + std::string(21, 'y') + "\nc\n");
  end();
  Lines lines;

  while (reader.fill()) {
    while (const auto line = reader.next()) {
      lines.emplace_back(reader.fault() == nullptr ? *line : std::string_view("too long"));
    }
  }

  EXPECT_EQ(lines, (Lines{"a", "too long", "b", "too long", "c"}));
  EXPECT_EQ(reader.takeRest(), std::nullopt);
}

TEST_F(LineReaderTest, ForgetsALineThatIsTooLongAndNeverEnds) {
  LineReader reader(input_.get(), 16, 20);
  write(std::string(1000, 'x'));
  end();
  int faults = 0;

  while (reader.fill()) {
    while (reader.next()) {
      faults += reader.fault() != nullptr ? 1 : 0;
    }
  }

  EXPECT_EQ(faults, 1);
  EXPECT_EQ(reader.takeRest(), std::nullopt);
}

TEST_F(LineReaderTest, ReportsTheSystemsRefusal) {
  FileDescriptor folder(::open("/", O_RDONLY | O_CLOEXEC));
  LineReader reader(folder.get());

  try {
    reader.fill();
    FAIL() << "a folder was read";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EISDIR);
  }
}

}  // namespace
}  // namespace chainhost
