#include "chainhost/output_writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <future>
#include <string>
#include <thread>

#include "support/temp_dir.h"

namespace chainhost {
namespace {

class OutputWriterTest : public testing::Test {
 protected:
  OutputWriterTest() {
    ::signal(SIGPIPE, SIG_IGN);
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    reader_ = FileDescriptor(ends[0]);
    output_ = FileDescriptor(ends[1]);
  }

  // Reads exactly this many bytes.
  std::string read(std::size_t count) {
    std::string text(count, '\0');
    std::size_t got = 0;
    while (got < count) {
      const ssize_t more = ::read(reader_.get(), &text[got], count - got);
      if (more <= 0) {
        ADD_FAILURE() << "end of output after " << got << " bytes";
        break;
      }
      got += static_cast<std::size_t>(more);
    }
    return text;
  }

  // Fills the pipe, so that the next write waits for the reader.
  std::size_t fillPipe() {
    const int flags = ::fcntl(output_.get(), F_GETFL);
    ::fcntl(output_.get(), F_SETFL, flags | O_NONBLOCK);
    std::size_t count = 0;
    const std::string page(4096, '.');
    while (::write(output_.get(), page.data(), page.size()) > 0) {
      count += page.size();
    }
    ::fcntl(output_.get(), F_SETFL, flags);
    return count;
  }

  // A hundred bytes.
  static std::string lineOf(char letter) {
    std::string line(100, letter);
    line.back() = '\n';
    return line;
  }

  static void failTest(const std::string& reason) { ADD_FAILURE() << reason; }

  FileDescriptor reader_;
  FileDescriptor output_;
};

TEST_F(OutputWriterTest, WritesALineWithoutWaitingForAnother) {
  OutputWriter writer(output_.get(), &failTest);

  writer.append("first\n");

  EXPECT_EQ(read(6), "first\n");
  writer.append("second\n");
  EXPECT_EQ(read(7), "second\n");
  writer.finish();
}

TEST_F(OutputWriterTest, WritesEachOfManyLinesBeforeTheNextOneComes) {
  OutputWriter writer(output_.get(), &failTest);

  for (int index = 0; index < 2000; ++index) {
    writer.append(lineOf('a'));
    ASSERT_EQ(read(100), lineOf('a')) << index;
  }
  writer.finish();
}

// A pipe of packets gives its reader each write by itself.
TEST_F(OutputWriterTest, WritesTogetherWhatHasGathered) {
  ASSERT_EQ(::fcntl(output_.get(), F_SETFL, O_DIRECT), 0);
  const std::size_t filled = fillPipe();
  OutputWriter writer(output_.get(), &failTest);
  std::string lines;
  for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'}) {
    writer.append(lineOf(letter));
    lines += lineOf(letter);
  }

  std::size_t drained = 0;
  std::array<char, 4096> packet{};
  while (drained < filled) {
    const ssize_t got = ::read(reader_.get(), packet.data(), packet.size());
    ASSERT_GT(got, 0);
    drained += static_cast<std::size_t>(got);
  }

  std::string text;
  int writes = 0;
  for (; text.size() < lines.size(); ++writes) {
    const ssize_t got = ::read(reader_.get(), packet.data(), packet.size());
    ASSERT_GT(got, 0);
    text.append(packet.data(), static_cast<std::size_t>(got));
    EXPECT_EQ(text.back(), '\n');
  }
  EXPECT_EQ(text, lines);
  EXPECT_LE(writes, 2);  // the first one may have been in the writer's hand already
  writer.finish();
}

TEST_F(OutputWriterTest, WritesEverythingBeforeItFinishes) {
  OutputWriter writer(output_.get(), &failTest);
  for (int index = 0; index < 1000; ++index) {
    writer.append("line\n");
  }

  writer.finish();

  EXPECT_FALSE(writer.isBehind());
  EXPECT_EQ(read(5000).substr(4990), "line\nline\n");
}

TEST_F(OutputWriterTest, KeepsLinesOfSeveralThreadsWhole) {
  const test_support::TempDir folder;
  FileDescriptor file(::open(folder.file("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  OutputWriter writer(file.get(), &failTest);
  const auto append = [&writer](char letter) {
    const std::string line = lineOf(letter);
    for (int index = 0; index < 500; ++index) {
      writer.append(line);
    }
  };

  std::thread first(append, 'a');
  std::thread second(append, 'b');
  first.join();
  second.join();
  writer.finish();

  const std::string text = test_support::readFile(folder.file("out"));
  ASSERT_EQ(text.size(), 100'000U);
  for (std::size_t start = 0; start < text.size(); start += 100) {
    ASSERT_EQ(text.substr(start, 100), lineOf(text[start]));
  }
}

TEST_F(OutputWriterTest, MakesThoseWaitWhoAreFarAheadOfTheReader) {
  const std::size_t filled = fillPipe();
  OutputWriter writer(output_.get(), &failTest, 10);
  writer.append("12345678\n");  // may be in the writer's hand already
  writer.append("abcdefgh\n");
  auto third = std::async(std::launch::async, [&writer] { writer.append("ABCDEFGH\n"); });
  EXPECT_TRUE(writer.isBehind());

  read(filled);

  third.get();
  EXPECT_EQ(read(27), "12345678\nabcdefgh\nABCDEFGH\n");
  writer.finish();
}

TEST_F(OutputWriterTest, TakesABatchLargerThanItsLimitWhenNothingIsPending) {
  OutputWriter writer(output_.get(), &failTest, 10);

  writer.append("a line that is longer than ten bytes\n");

  EXPECT_EQ(read(37), "a line that is longer than ten bytes\n");
  writer.finish();
}

TEST_F(OutputWriterTest, FreesWaitersAndFinishesWithoutItsReaderWhenHurried) {
  fillPipe();
  OutputWriter writer(output_.get(), &failTest, 10);
  writer.append("12345678\n");
  writer.append("abcdefgh\n");
  auto third = std::async(std::launch::async, [&writer] { writer.append("ABCDEFGH\n"); });

  writer.hurry();

  third.get();
  writer.finish();
}

TEST_F(OutputWriterTest, StillWritesWhatItCanWhenHurried) {
  OutputWriter writer(output_.get(), &failTest);
  writer.hurry();

  writer.append("late\n");
  writer.finish();

  EXPECT_EQ(read(5), "late\n");
}

TEST_F(OutputWriterTest, ReportsAReaderThatWentAwayOnce) {
  std::promise<std::string> reported;
  OutputWriter writer(output_.get(),
                      [&reported](const std::string& reason) { reported.set_value(reason); });
  reader_ = FileDescriptor();

  writer.append("line\n");

  EXPECT_EQ(reported.get_future().get(), "Broken pipe");
  writer.append("another line\n");
  writer.finish();
}

TEST_F(OutputWriterTest, ReportsAFullDevice) {
  std::promise<std::string> reported;
  FileDescriptor full(::open("/dev/full", O_WRONLY | O_CLOEXEC));
  OutputWriter writer(full.get(),
                      [&reported](const std::string& reason) { reported.set_value(reason); });

  writer.append("line\n");

  EXPECT_EQ(reported.get_future().get(), "No space left on device");
  writer.finish();
}

TEST_F(OutputWriterTest, DropsWhatIsUnwrittenWhenDestroyedUnfinished) {
  fillPipe();
  {
    OutputWriter writer(output_.get(), &failTest);
    writer.append("line\n");
  }

  SUCCEED() << "the destructor did not wait for the reader";
}

}  // namespace
}  // namespace chainhost
