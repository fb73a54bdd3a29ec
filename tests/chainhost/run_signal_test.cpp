// "chainhost run" from outside: SIGINT and SIGTERM, once and more often.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "chainhost/run_fixture.h"

namespace chainhost {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A plugin whose answers wait for the test.
class RunSignalTest : public RunFixture {
 protected:
  RunSignalTest() {
    // A program that is left in the middle has threads that nobody joins, by intention.
    const char* const options = ::getenv("TSAN_OPTIONS");
    const std::string kept = options == nullptr ? "" : std::string(options) + ":";
    ::setenv("TSAN_OPTIONS", (kept + "report_thread_leaks=0").c_str(), 1);
    EXPECT_EQ(::mkfifo(folder_.file("gate").c_str(), 0600), 0);
    gate_ = FileDescriptor(::open(folder_.file("gate").c_str(), O_RDWR | O_CLOEXEC));
  }

  std::vector<std::string> gatedArguments(const std::vector<std::string>& more = {}) {
    return runArguments(configFor("gated_plugin", "config: {gate: " + folder_.file("gate") + "}\n"),
                        more);
  }

  // Lets this many messages through.
  void pass(std::size_t count) {
    const std::string bytes(count, '.');
    ASSERT_EQ(::write(gate_.get(), bytes.data(), count), static_cast<ssize_t>(count));
  }
  // From now on, all of them. REQUIRES: the plugin has been created.
  void openGate() { gate_ = FileDescriptor(); }

  static std::string messages(int count) {
    std::string lines;
    for (int number = 1; number <= count; ++number) {
      lines += message(number) + "\n";
    }
    return lines;
  }

  FileDescriptor gate_;
};

class RunSignalEachTest : public RunSignalTest, public testing::WithParamInterface<int> {};

TEST_P(RunSignalEachTest, AnswersWhatIsInHandAndEndsInOrder) {
  ChildProcess host(gatedArguments());
  host.write(messages(3));
  pass(1);
  EXPECT_EQ(host.readLine(), message(1));

  host.signal(GetParam());
  host.waitForError("reading ended");
  openGate();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), message(2) + "\n" + message(3) + "\n");
  EXPECT_THAT(host.lastErrorLine(), HasSubstr("messages 3, responses 3 "));
}

TEST_P(RunSignalEachTest, LeavesTheRestUnansweredOnASecondOne) {
  ChildProcess host(gatedArguments());
  host.write(messages(3));
  pass(1);
  EXPECT_EQ(host.readLine(), message(1));
  host.signal(GetParam());
  host.waitForError("reading ended");

  host.signal(GetParam());

  EXPECT_EQ(host.wait(), 128 + GetParam());
  EXPECT_EQ(host.restOfOutput(), "");
  EXPECT_THAT(host.restOfError(), HasSubstr("chainhost: messages not answered: 2\n"));
  EXPECT_THAT(host.lastErrorLine(), HasSubstr("messages 3, responses 1 "));
}

INSTANTIATE_TEST_SUITE_P(Signals, RunSignalEachTest, testing::Values(SIGINT, SIGTERM),
                         [](const auto& param) {
                           return std::string(param.param == SIGINT ? "Sigint" : "Sigterm");
                         });

TEST_F(RunSignalTest, EndsAtOnceWhileItWaitsForInput) {
  ChildProcess host(gatedArguments());
  pass(1);
  host.write(message(1) + "\n");
  host.readLine();

  host.signal(SIGTERM);

  EXPECT_EQ(host.wait(), 0);
}

TEST_F(RunSignalTest, StopsReadingWhileTheTransportHasNoRoom) {
  ChildProcess host(gatedArguments());
  host.write(messages(10));
  host.waitForError("waiting for room");

  host.signal(SIGTERM);
  host.waitForError("reading ended");
  host.write(message(11) + "\n");
  openGate();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), messages(10));
}

TEST_F(RunSignalTest, AbandonsADeliveryThatWaitsForRoom) {
  ChildProcess host(gatedArguments());
  host.write(messages(10));
  host.waitForError("waiting for room");
  host.signal(SIGTERM);
  host.waitForError("reading ended");

  host.signal(SIGINT);

  EXPECT_EQ(host.wait(), 130);
  EXPECT_THAT(host.restOfError(), HasSubstr("chainhost: messages not answered: 10\n"));
}

TEST_F(RunSignalTest, EndsAtOnceOnAThirdSignalWhenTheTransportHangs) {
  ChildProcess host(runArguments(configFor("hangs_in_shutdown")));
  host.write(message(1) + "\n");
  host.readLine();
  host.signal(SIGINT);
  host.waitForError("reading ended");

  host.signal(SIGINT);
  host.signal(SIGTERM);

  EXPECT_EQ(host.wait(), 143);
}

TEST_F(RunSignalTest, LeavesATransportThatDoesNotEndAfterASecondOne) {
  ChildProcess host(runArguments(configFor("hangs_in_shutdown")));
  host.write(message(1) + "\n");
  host.readLine();
  host.signal(SIGINT);
  host.waitForError("reading ended");

  host.signal(SIGTERM);

  EXPECT_EQ(host.wait(), 143);
  EXPECT_THAT(host.restOfError(),
              StartsWith("chainhost: the transport has not ended within 3 seconds, leaving it\n"
                         "chainhost: messages 1, responses 1 "));
}

TEST_F(RunSignalTest, DropsALineThatWasNotReadToItsEnd) {
  ChildProcess host(gatedArguments());
  pass(1);
  host.write(message(1) + "\n{\"payload\": \"unfin");
  EXPECT_EQ(host.readLine(), message(1));

  host.signal(SIGINT);

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), "");
  EXPECT_THAT(host.restOfError(),
              HasSubstr("chainhost: line 2 of standard input was not read to its end and is "
                        "dropped\n"));
}

TEST_F(RunSignalTest, KeepsTheExitCodeOfRefusedLinesAfterADrain) {
  ChildProcess host(gatedArguments());
  host.write("no message\n");
  host.readLine();

  host.signal(SIGTERM);

  EXPECT_EQ(host.wait(), 3);
}

TEST_F(RunSignalTest, EndsThoughNobodyReadsItsOutputOnASecondSignal) {
  FileDescriptor input(::open(folder_.file("in").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const std::string line = "{\"payload\": \"" + std::string(1 << 20, 'x') + "\"}\n";
  for (int count = 0; count < 16; ++count) {
    ASSERT_EQ(::write(input.get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
  }
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor unread(ends[0]);
  FileDescriptor output(ends[1]);
  ChildProcess host(gatedArguments({"--input", folder_.file("in")}), output.get());
  pass(16);
  host.waitForError("waiting for room");  // the worker waits for the reader of the output
  host.signal(SIGTERM);
  host.waitForError("reading ended");

  host.signal(SIGTERM);

  EXPECT_EQ(host.wait(), 143);
}

}  // namespace
}  // namespace chainhost
