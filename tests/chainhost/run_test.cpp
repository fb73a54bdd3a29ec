// "chainhost run" from outside: lines in, lines out, summary and exit code.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "chainhost/run_fixture.h"

namespace chainhost {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* kFigures = ", seconds [0-9]+\\.[0-9][0-9][0-9], requests per second [0-9.]+";

class RunTest : public RunFixture {
 protected:
  ChildProcess start(const std::string& plugin) {
    return ChildProcess(runArguments(configFor(plugin)));
  }
};

TEST_F(RunTest, AnswersEachLineWithoutWaitingForTheNext) {
  ChildProcess host = start("gated_plugin");

  host.write(message(1) + "\n");
  EXPECT_EQ(host.readLine(), message(1));
  host.write(message(2) + "\n");
  EXPECT_EQ(host.readLine(), message(2));

  host.closeInput();
  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), "");
}

TEST_F(RunTest, EndsInOrderWithoutAnyLine) {
  ChildProcess host = start("gated_plugin");

  host.closeInput();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.lastErrorLine(),
            "chainhost: messages 0, responses 0 (1xx 0, 2xx 0, 3xx 0, 4xx 0, 5xx 0, other 0), "
            "errors 0, refused lines 0, seconds 0.000, requests per second 0.0");
}

TEST_F(RunTest, HandsNamesAndLogLevelsToThePlugin) {
  const std::string more =
      "name: front\nchainId: '7'\nlogLevel: WARN\nlogLevels: {connectivity.front: TRACE}\n";
  ChildProcess host(runArguments(configFor("gated_plugin", more)));

  EXPECT_THAT(host.readErrorLine(), EndsWith("created for connectivity.front.7 at level 6"));

  host.closeInput();
  EXPECT_EQ(host.wait(), 0);
}

TEST_F(RunTest, SumsUpOnStandardError) {
  ChildProcess host = start("faultless");
  for (const int status : {200, 204, 302, 404, 503}) {
    host.write("{\"metadata\": {\"http\": {\"statusCode\": " + std::to_string(status) + "}}}\n");
  }

  host.closeInput();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_THAT(host.lastErrorLine(),
              MatchesRegex(std::string("chainhost: messages 5, responses 5 \\(1xx 0, 2xx 2, 3xx 1, "
                                       "4xx 1, 5xx 1, other 0\\), errors 2, refused lines 0") +
                           kFigures));
}

TEST_F(RunTest, AnswersALineThatIsNoMessageAndGoesOn) {
  ChildProcess host = start("faultless");
  host.write(message(1) + "\n{\"payload\": \"cut\n\n" + message(4) + "\n");
  host.closeInput();

  const int exitCode = host.wait();

  std::set<std::string> lines;
  std::istringstream output(host.restOfOutput());
  for (std::string line; std::getline(output, line);) {
    lines.insert(line);
  }
  EXPECT_EQ(lines, (std::set<std::string>{
                       message(1), message(4),
                       R"({"error": "invalid JSON: a string is not closed", "line": 2})",
                       R"({"error": "the line is blank", "line": 3})"}));
  EXPECT_EQ(exitCode, 3);
  EXPECT_THAT(host.lastErrorLine(), HasSubstr("messages 2, responses 2"));
  EXPECT_THAT(host.lastErrorLine(), HasSubstr("refused lines 2"));
}

TEST_F(RunTest, ReadsALastLineWithoutALineFeedAndLinesEndedByCrLf) {
  ChildProcess host = start("faultless");
  host.write(message(1) + "\r\n" + message(2));
  host.closeInput();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), message(1) + "\n" + message(2) + "\n");
}

TEST_F(RunTest, ReadsAndWritesFiles) {
  const std::string input = folder_.write("in", message(1) + "\n" + message(2) + "\n");
  const std::string output = folder_.write("out", "what was there before\n");
  ChildProcess host(runArguments(configFor("faultless"), {"--input", input, "--output", output}));

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(), "");
  EXPECT_EQ(test_support::readFile(output), message(1) + "\n" + message(2) + "\n");
}

TEST_F(RunTest, AnswersManyLinesExactlyOnce) {
  constexpr int kCount = 20'000;
  std::string lines;
  for (int number = 0; number < kCount; ++number) {
    lines += message(number) + "\n";
  }
  const std::string input = folder_.write("in", lines);
  const std::string output = folder_.file("out");
  ChildProcess host(
      runArguments(configFor("gated_plugin"), {"--input", input, "--output", output}));

  EXPECT_EQ(host.wait(), 0);
  EXPECT_TRUE(test_support::readFile(output) == lines);
  EXPECT_THAT(host.lastErrorLine(), StartsWith("chainhost: messages 20000, responses 20000 ("));
}

TEST_F(RunTest, CarriesALineOfManyMegabytes) {
  const std::string line =
      "{\"payload\": \"" + std::string(12 << 20, 'x') + "\", \"metadata\": {}}\n";
  const std::string input = folder_.write("in", line + message(2) + "\n");
  const std::string output = folder_.file("out");
  ChildProcess host(
      runArguments(configFor("gated_plugin"), {"--input", input, "--output", output}));

  EXPECT_EQ(host.wait(), 0);
  EXPECT_TRUE(test_support::readFile(output) == line + message(2) + "\n");
}

TEST_F(RunTest, WritesOddAnswersAsValidLines) {
  ChildProcess host = start("odd_answers");
  host.write(message(1) + "\n" + message(2) + "\n");
  host.closeInput();

  EXPECT_EQ(host.wait(), 0);
  EXPECT_EQ(host.restOfOutput(),
            "{\"payload\": [\"NaN\", \"-Infinity\", \"caf\xEF\xBF\xBD\", null, {}], \"metadata\": "
            "{\"5\": \"v\"}}\n{\"payload\": \"\", \"metadata\": {}}\n");
  EXPECT_THAT(host.lastErrorLine(), HasSubstr("other 2), errors 2"));
}

TEST_F(RunTest, SaysWhatItIs) {
  ChildProcess help({CHAINHOST_PROGRAM, "--help"});
  ChildProcess version({CHAINHOST_PROGRAM, "--version"});

  EXPECT_EQ(help.wait(), 0);
  EXPECT_THAT(help.restOfOutput(), StartsWith("usage: chainhost run --config FILE"));
  EXPECT_EQ(version.wait(), 0);
  EXPECT_EQ(version.restOfOutput(), "chainhost " PROJECT_VERSION_TEXT "\n");
}

TEST_F(RunTest, ServesEchoesUntilASignal) {
  ChildProcess server({CHAINHOST_PROGRAM, "echo-server", "--port", "0"});

  EXPECT_THAT(server.readLine(), MatchesRegex("listening on 127\\.0\\.0\\.1:[1-9][0-9]*"));
  server.signal(SIGTERM);

  EXPECT_EQ(server.wait(), 0);
  EXPECT_EQ(server.restOfError(), "");
}

}  // namespace
}  // namespace chainhost
