// "chainhost run" from outside: what goes wrong, its text and its exit code.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "chainhost/run_fixture.h"

namespace chainhost {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class RunFailureTest : public RunFixture {
 protected:
  // Runs one message through a plugin and returns the exit code; the lines of standard error,
  // the summary apart, are in `error_`.
  int runWith(const std::string& plugin, const std::string& more = "") {
    const std::string input = folder_.write("in", message(1) + "\n" + message(2) + "\n");
    ChildProcess host(runArguments(configFor(plugin, more), {"--input", input}));
    const int exitCode = host.wait();
    output_ = host.restOfOutput();
    error_ = host.restOfError();
    const std::string summary = host.lastErrorLine() + "\n";
    if (summary.starts_with("chainhost: messages ")) {
      error_.resize(error_.size() - summary.size());
    }
    return exitCode;
  }

  std::string output_;
  std::string error_;
};

TEST_F(RunFailureTest, TellsTheUsageOfAWrongCommandLine) {
  ChildProcess host({CHAINHOST_PROGRAM, "run"});

  EXPECT_EQ(host.wait(), 2);
  EXPECT_THAT(host.restOfError(),
              StartsWith("chainhost: run needs --config FILE\nusage: chainhost run --config"));
  EXPECT_EQ(host.restOfOutput(), "");
}

TEST_F(RunFailureTest, TellsAMissingConfiguration) {
  ChildProcess host(runArguments(folder_.file("none.yaml")));

  EXPECT_EQ(host.wait(), 78);
  EXPECT_EQ(host.restOfError(), "chainhost: " + folder_.file("none.yaml") +
                                    ": cannot be read: No such file or directory\n");
}

TEST_F(RunFailureTest, TellsAWrongConfiguration) {
  EXPECT_EQ(runWith("faultless", "colour: red\n"), 78);
  EXPECT_EQ(error_, "chainhost: " + folder_.file("host.yaml") + ": unknown key colour\n");
}

TEST_F(RunFailureTest, TellsThatTheTransportRefusedItsConfiguration) {
  EXPECT_EQ(runWith("create_fails"), 78);
  EXPECT_THAT(error_, HasSubstr("the configuration does not please\n"));
  EXPECT_THAT(error_,
              EndsWith("chainhost: " + folder_.file("host.yaml") +
                       ": the transport refused its configuration; its log line says why\n"));
}

TEST_F(RunFailureTest, TellsAMissingPluginLibrary) {
  EXPECT_EQ(runWith("nowhere"), 69);
  EXPECT_EQ(error_, "chainhost: " + pluginPath("nowhere") +
                        ": cannot be loaded: cannot open shared object file: No such file or "
                        "directory\n");
}

TEST_F(RunFailureTest, TellsALibraryThatIsNone) {
  EXPECT_EQ(runWith("not_a_library"), 69);
  EXPECT_EQ(error_,
            "chainhost: " + pluginPath("not_a_library") + ": cannot be loaded: file too short\n");
}

TEST_F(RunFailureTest, TellsAPluginOfAnotherApiVersion) {
  EXPECT_EQ(runWith("other_api_version"), 69);
  EXPECT_EQ(error_, "chainhost: " + pluginPath("other_api_version") +
                        ": api version 3, this host needs 4\n");
}

TEST_F(RunFailureTest, TellsAMissingEntryPoint) {
  EXPECT_EQ(runWith("missing_entry"), 69);
  EXPECT_EQ(error_, "chainhost: " + pluginPath("missing_entry") +
                        ": does not export kel_plugin_hostReady_HTTPClient\n");
}

TEST_F(RunFailureTest, TellsAFunctionThatTheHostDoesNotHave) {
  EXPECT_EQ(runWith("unknown_host_function"), 69);
  EXPECT_EQ(error_, "chainhost: " + pluginPath("unknown_host_function") +
                        ": cannot be loaded: undefined symbol: kel_function_that_no_host_has\n");
}

TEST_F(RunFailureTest, TellsAFailureBeforeTheFirstMessage) {
  EXPECT_EQ(runWith("set_next_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's setNextTowardsHost failed\n");
  EXPECT_EQ(runWith("start_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's start failed\n");
  EXPECT_EQ(runWith("host_ready_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's hostReady failed\n");
  EXPECT_EQ(output_, "");
}

TEST_F(RunFailureTest, TellsAFailureAfterTheLastMessage) {
  EXPECT_EQ(runWith("shutdown_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's shutdown failed\n");
  EXPECT_EQ(output_, message(1) + "\n" + message(2) + "\n");
  EXPECT_EQ(runWith("destroy_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's destroy failed\n");
}

TEST_F(RunFailureTest, AnswersForMessagesThatTheTransportDidNotTake) {
  EXPECT_EQ(runWith("send_fails"), 1);
  EXPECT_EQ(error_, "chainhost: the transport's sendBatchTowardsTransport failed\n");
  EXPECT_EQ(output_,
            "{\"error\": \"the transport did not take the message\", \"line\": 1}\n"
            "{\"error\": \"the transport did not take the message\", \"line\": 2}\n");
}

TEST_F(RunFailureTest, AnswersForTheRestOfABatchThatTheTransportTookInPart) {
  EXPECT_EQ(runWith("send_fails_half_way"), 1);
  EXPECT_EQ(
      output_,
      message(1) + "\n{\"error\": \"the transport did not take the message\", \"line\": 2}\n");
}

TEST_F(RunFailureTest, DoesNotWaitForeverForAnswers) {
  EXPECT_EQ(runWith("never_answers", "answerTimeoutSecs: 1\n"), 1);
  EXPECT_EQ(error_,
            "chainhost: no response within answerTimeoutSecs (1), giving up\n"
            "chainhost: messages not answered: 2\n");
}

TEST_F(RunFailureTest, TellsAPluginThatAnswersTwice) {
  EXPECT_EQ(runWith("answers_twice"), 1);
  EXPECT_EQ(error_, "chainhost: the transport sent more responses than it got messages: 2 more\n");
}

TEST_F(RunFailureTest, TellsStandardStreamsThatAreClosed) {
  const std::string run = CHAINHOST_PROGRAM " run --config " + configFor("faultless");
  ChildProcess noInput({"/bin/sh", "-c", "exec " + run + " <&-"});
  ChildProcess noOutput({"/bin/sh", "-c", "echo '{}' | exec " + run + " >&-"});

  EXPECT_EQ(noInput.wait(), 1);
  EXPECT_THAT(noInput.restOfError(),
              StartsWith("chainhost: cannot read standard input: Bad file descriptor\n"));
  EXPECT_EQ(noOutput.wait(), 1);
  EXPECT_THAT(noOutput.restOfError(),
              StartsWith("chainhost: cannot write standard output: Bad file descriptor\n"));
}

TEST_F(RunFailureTest, TellsAnInputThatCannotBeOpened) {
  const std::string input = folder_.file("none");
  ChildProcess host(runArguments(configFor("faultless"), {"--input", input}));

  EXPECT_EQ(host.wait(), 1);
  EXPECT_EQ(host.restOfError(),
            "chainhost: cannot open " + input + ": No such file or directory\n");
}

TEST_F(RunFailureTest, TellsAnInputThatCannotBeRead) {
  ChildProcess host(runArguments(configFor("faultless"), {"--input", folder_.path()}));

  EXPECT_EQ(host.wait(), 1);
  EXPECT_THAT(host.restOfError(), StartsWith("chainhost: cannot read " + folder_.path().string() +
                                             ": Is a directory\n"));
}

TEST_F(RunFailureTest, TellsAnOutputThatCannotBeOpened) {
  ChildProcess host(runArguments(configFor("faultless"), {"--output", folder_.path()}));

  EXPECT_EQ(host.wait(), 1);
  EXPECT_EQ(host.restOfError(),
            "chainhost: cannot open " + folder_.path().string() + ": Is a directory\n");
}

TEST_F(RunFailureTest, LeavesAnEarlierOutputAloneWhenTheConfigurationIsRefused) {
  const std::string output = folder_.write("out", "earlier\n");
  ChildProcess host(runArguments(configFor("create_fails"), {"--output", output}));

  EXPECT_EQ(host.wait(), 78);
  EXPECT_EQ(test_support::readFile(output), "earlier\n");
}

TEST_F(RunFailureTest, TellsAFullOutput) {
  const std::string input = folder_.write("in", message(1) + "\n");
  ChildProcess host(
      runArguments(configFor("faultless"), {"--input", input, "--output", "/dev/full"}));

  EXPECT_EQ(host.wait(), 1);
  EXPECT_THAT(host.restOfError(),
              StartsWith("chainhost: cannot write /dev/full: No space left on device\n"));
}

TEST_F(RunFailureTest, TellsAnOutputThatCannotBeClosed) {
  const std::string input = folder_.write("in", "");
  const std::string output = folder_.file("out");
  ChildProcess host(
      runArguments(configFor("closes_files"), {"--input", input, "--output", output}));

  EXPECT_EQ(host.wait(), 1);
  EXPECT_THAT(host.restOfError(),
              StartsWith("chainhost: cannot write " + output + ": Bad file descriptor\n"));
}

TEST_F(RunFailureTest, EndsWhenItsReaderGoesAwayThoughInputGoesOn) {
  ChildProcess host(runArguments(configFor("gated_plugin")));
  host.write(message(1) + "\n");
  host.readLine();

  host.closeOutput();
  host.write(message(2) + "\n");

  EXPECT_EQ(host.wait(), 1);
  EXPECT_THAT(host.restOfError(),
              HasSubstr("chainhost: cannot write standard output: Broken pipe\n"));
}

TEST_F(RunFailureTest, TellsAPortThatIsTaken) {
  ChildProcess first({CHAINHOST_PROGRAM, "echo-server"});
  const std::string line = first.readLine();
  const std::string port = line.substr(line.rfind(':') + 1);
  ChildProcess second({CHAINHOST_PROGRAM, "echo-server", "--port", port});

  EXPECT_EQ(second.wait(), 1);
  EXPECT_THAT(second.restOfError(),
              StartsWith("chainhost: cannot listen on 127.0.0.1:" + port + ": "));
  first.signal(SIGINT);
  EXPECT_EQ(first.wait(), 0);
}

}  // namespace
}  // namespace chainhost
