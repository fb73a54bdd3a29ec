#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/temp_dir.h"

namespace test_support {
namespace {

TEST(ProcessTest, GivesOutputErrorAndExitCode) {
  TempDir dir;
  Process::Options options;
  options.environment["GREETING"] = "hello";
  options.outputFile = dir.file("out");
  options.errorFile = dir.file("err");

  Process process({"sh", "-c", "echo $GREETING; echo oops >&2; exit 7"}, options);

  EXPECT_EQ(process.wait(), 7);
  EXPECT_EQ(process.wait(), 7);
  EXPECT_EQ(readFile(options.outputFile), "hello\n");
  EXPECT_EQ(readFile(options.errorFile), "oops\n");
}

TEST(ProcessTest, EndBySignalIsAbove128) {
  Process process({"sleep", "600"}, {});

  process.signal(SIGTERM);

  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

TEST(ProcessTest, MissingProgramExitsWith127) {
  Process process({"no-such-program-anywhere"}, {});

  EXPECT_EQ(process.wait(), 127);
}

TEST(ProcessTest, DestructorEndsAProgramThatRuns) {
  pid_t id = 0;
  {
    Process process({"sleep", "600"}, {});
    id = process.id();
  }

  EXPECT_EQ(kill(id, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST(ProcessTest, DestructorSendsTheEndSignal) {
  TempDir dir;
  Process::Options options;
  options.outputFile = dir.file("out");
  options.endSignal = SIGTERM;
  const std::string fifo = dir.file("ready");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  {
    Process process(
        {"sh", "-c", "trap 'echo asked; exit' TERM; : >" + fifo + "; while :; do :; done"},
        options);
    close(open(fifo.c_str(), O_RDONLY));  // waits for the trap to be set
  }

  EXPECT_EQ(readFile(options.outputFile), "asked\n");
}

TEST(ProcessTest, HandsDescriptorsOverFromThreeOn) {
  TempDir dir;
  const int one = open(dir.write("one", "1\n").c_str(), O_RDONLY | O_CLOEXEC);
  const int two = open(dir.write("two", "2\n").c_str(), O_RDONLY | O_CLOEXEC);
  Process::Options options;
  options.outputFile = dir.file("out");
  options.descriptors = {two, one};

  Process process({"sh", "-c", "cat <&3; cat <&4"}, options);
  const int exitCode = process.wait();
  close(one);
  close(two);

  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(readFile(options.outputFile), "2\n1\n");
}

}  // namespace
}  // namespace test_support
