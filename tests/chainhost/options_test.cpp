#include "chainhost/options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace chainhost {
namespace {

using Arguments = std::vector<const char*>;

Options parse(const Arguments& arguments) { return parseOptions(arguments); }

TEST(OptionsTest, ReadsRun) {
  const Options options = parse({"run", "--config", "c.yaml", "--input", "in", "--output", "out"});

  EXPECT_EQ(options.command, Command::Run);
  EXPECT_EQ(options.configFile, "c.yaml");
  EXPECT_EQ(options.input, "in");
  EXPECT_EQ(options.output, "out");
}

TEST(OptionsTest, ReadsAndWritesTheStandardStreamsByDefault) {
  const Options options = parse({"run", "--config=c.yaml"});

  EXPECT_EQ(options.configFile, "c.yaml");
  EXPECT_EQ(options.input, "-");
  EXPECT_EQ(options.output, "-");
}

TEST(OptionsTest, ReadsEchoServer) {
  EXPECT_EQ(parse({"echo-server"}).command, Command::EchoServer);
  EXPECT_EQ(parse({"echo-server"}).port, 0);
  EXPECT_EQ(parse({"echo-server", "--port", "0"}).port, 0);
  EXPECT_EQ(parse({"echo-server", "--port=65535"}).port, 65535);
}

TEST(OptionsTest, ReadsHelpAndVersion) {
  EXPECT_EQ(parse({"--help"}).command, Command::Help);
  EXPECT_EQ(parse({"--version"}).command, Command::Version);
}

struct Wrong {
  const char* name;
  Arguments arguments;
  const char* text;
};

class OptionsWrongTest : public testing::TestWithParam<Wrong> {};

TEST_P(OptionsWrongTest, IsRefusedWithItsReason) {
  try {
    parse(GetParam().arguments);
    FAIL() << "accepted";
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), GetParam().text);
  }
}

INSTANTIATE_TEST_SUITE_P(
    CommandLines, OptionsWrongTest,
    testing::Values(
        Wrong{"Nothing", {}, "no command"}, Wrong{"Command", {"walk"}, "unknown command walk"},
        Wrong{"NoConfig", {"run"}, "run needs --config FILE"},
        Wrong{"NoValue", {"run", "--config"}, "--config needs a value"},
        Wrong{"EmptyValue", {"run", "--config="}, "--config needs a value"},
        Wrong{"UnknownOption", {"run", "--fast"}, "unknown option --fast"},
        Wrong{"OptionOfTheOther", {"echo-server", "--config", "x"}, "unknown option --config"},
        Wrong{"Twice", {"run", "--config", "a", "--config", "b"}, "--config given twice"},
        Wrong{"Argument", {"run", "file"}, "unexpected argument file"},
        Wrong{"ArgumentAfterHelp", {"--help", "run"}, "unexpected argument run"},
        Wrong{"PortTooLarge",
              {"echo-server", "--port", "65536"},
              "--port must be between 0 and 65535, not 65536"},
        Wrong{"PortNegative",
              {"echo-server", "--port", "-1"},
              "--port must be between 0 and 65535, not -1"},
        Wrong{"PortText",
              {"echo-server", "--port", "80x"},
              "--port must be between 0 and 65535, not 80x"}),
    [](const auto& param) { return param.param.name; });

}  // namespace
}  // namespace chainhost
