#include "support/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
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
